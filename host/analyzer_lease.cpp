#include "host/analyzer_lease.h"

namespace Harmotrack::Host {

AnalyzerLease::AnalyzerLease(std::int32_t mode) : lease_(static_cast<Mode>(mode)) {}

AnalyzerHandle AnalyzerLease::handle() const
{
    return lease_.handle;
}

AnalyzerLease::Setups& AnalyzerLease::setups()
{
    return setups_;
}

void AnalyzerLease::discard()
{
    lease_.fit = false;
}

} // namespace Harmotrack::Host
