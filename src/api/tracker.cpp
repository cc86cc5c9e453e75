#include "api/handles.h"
#include "autotracker/autotracker.h"

#include <new>

using Velmora::Api::handleOf;
using Velmora::Api::trackerOf;
using Velmora::Autotracker::Autotracker;

TrackerHandle autotrackerCreate()
{
    return handleOf(new Autotracker);
}

void autotrackerDestroy(TrackerHandle tracker)
{
    // The block alone, as destroy() does.
    ::operator delete(&trackerOf(tracker));
}

void autotrackerSetSampleRate(TrackerHandle tracker, double sampleRate, int32_t rateDivider)
{
    trackerOf(tracker).setSampleRate(sampleRate, rateDivider);
}

void autotrackerSetSignalBuffer(TrackerHandle tracker, SignalBuffer signal)
{
    trackerOf(tracker).setSignalBuffer(signal);
}

void autotrackerSetTrackingSetup(TrackerHandle tracker, TrackingSetup* setup)
{
    trackerOf(tracker).setTrackingSetup(setup);
}

void autotrackerPreinitiate(TrackerHandle tracker)
{
    trackerOf(tracker).update();
}

void autotrackerInitiate(TrackerHandle tracker)
{
    trackerOf(tracker).initiate();
}

void autotrackerUpdateNewSamples(TrackerHandle tracker, int32_t count)
{
    trackerOf(tracker).updateNewSamples(count);
}

TrackingResult autotrackerCalculate(TrackerHandle tracker)
{
    return trackerOf(tracker).calculate();
}

void autotrackerReset(TrackerHandle tracker)
{
    trackerOf(tracker).reset();
}
