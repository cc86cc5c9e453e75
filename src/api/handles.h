#pragma once

#include "harmotrack/harmotrack.h"
#include "order_tracking/i_order_analyzer.h"

namespace Velmora::Autotracker {
class Autotracker;
} // namespace Velmora::Autotracker

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

inline TrackerHandle handleOf(Autotracker::Autotracker* tracker)
{
    return reinterpret_cast<TrackerHandle>(tracker);
}

inline Autotracker::Autotracker& trackerOf(TrackerHandle handle)
{
    return *reinterpret_cast<Autotracker::Autotracker*>(handle);
}

} // namespace Velmora::Api
