#pragma once

#include "harmotrack/harmotrack.h"
#include "order_tracking/i_order_analyzer.h"

/// A handle is the address of its object.
namespace Velmora::Api {

inline AnalyzerHandle handleOf(OrderTracking::IOrderAnalyzer* analyzer)
{
    return reinterpret_cast<AnalyzerHandle>(analyzer);
}

inline OrderTracking::IOrderAnalyzer& analyzerOf(AnalyzerHandle handle)
{
    return *reinterpret_cast<OrderTracking::IOrderAnalyzer*>(handle);
}

} // namespace Velmora::Api
