#include "api/handles.h"
#include "order_tracking/order_analyzer.h"

#include <new>

using Velmora::Api::analyzerOf;
using Velmora::Api::handleOf;
using Velmora::OrderTracking::OrderAnalyzer;

AnalyzerHandle create(int32_t mode)
{
    return handleOf(new OrderAnalyzer(mode));
}

void destroy(AnalyzerHandle analyzer)
{
    // The block alone: hosts count on no destructor of ours touching what they may have freed.
    ::operator delete(dynamic_cast<void*>(&analyzerOf(analyzer)));
}

void setBinningSetup(AnalyzerHandle analyzer, BinningSetup* setup)
{
    analyzerOf(analyzer).setBinningSetup(setup);
}

void setOrderSetup(AnalyzerHandle analyzer, OrderSetup* setup)
{
    analyzerOf(analyzer).setOrderSetup(setup);
}

void setAnalysisSetup(AnalyzerHandle analyzer, AnalysisSetup* setup)
{
    analyzerOf(analyzer).setAnalysisSetup(setup);
}

void setParameters(AnalyzerHandle analyzer, AnalyzerParameters* parameters)
{
    analyzerOf(analyzer).setParameters(parameters);
}

void setSampleRate(AnalyzerHandle analyzer, double sampleRate, int32_t rateDivider)
{
    analyzerOf(analyzer).setSampleRate(sampleRate);
    analyzerOf(analyzer).setRateDivider(rateDivider);
}

void setInputBufferLimit(AnalyzerHandle analyzer, int32_t limit)
{
    analyzerOf(analyzer).setInputBufferLimit(limit);
}

void setResampledBuffers(AnalyzerHandle analyzer, ResampledBuffers buffers)
{
    analyzerOf(analyzer).setResampledBuffers(buffers);
}

void setTimeBuffers(AnalyzerHandle analyzer, TimeBuffers buffers)
{
    analyzerOf(analyzer).setTimeBuffers(buffers);
}

void setResultBuffers(AnalyzerHandle analyzer, ResultBuffers buffers)
{
    analyzerOf(analyzer).setResultBuffers(buffers);
}

void preinitiate(AnalyzerHandle analyzer)
{
    analyzerOf(analyzer).preinitiate();
}

void initiate(AnalyzerHandle analyzer, int32_t* error)
{
    *error = 0;
    try {
        analyzerOf(analyzer).initiate();
    } catch (const std::bad_alloc&) {
        *error = 1;
    }
}

void reset(AnalyzerHandle analyzer)
{
    analyzerOf(analyzer).reset();
}

void updateBuffers(AnalyzerHandle analyzer, int32_t angleSamples, int32_t timeSamples)
{
    analyzerOf(analyzer).updateBuffers(angleSamples, timeSamples);
}

CalculationResult calculate(AnalyzerHandle analyzer)
{
    return analyzerOf(analyzer).calculate();
}

int32_t getBinCount(AnalyzerHandle analyzer)
{
    return analyzerOf(analyzer).getBinCount();
}

int32_t getOrderFFTSize(AnalyzerHandle analyzer)
{
    return analyzerOf(analyzer).getOrderFFTSize();
}

int32_t getTimeFFTSize(AnalyzerHandle analyzer)
{
    return analyzerOf(analyzer).getTimeFFTSize();
}

double getTimeFFTResolution(AnalyzerHandle analyzer)
{
    return analyzerOf(analyzer).getTimeFFTResolution();
}

double getTimeFFTBlockDuration(AnalyzerHandle analyzer)
{
    return analyzerOf(analyzer).getTimeFFTBlockDuration();
}

TimeFFTSetup
getTimeFFTSetup(AnalyzerHandle analyzer, uint8_t unused, double sampleRate, int32_t rateDivider)
{
    return analyzerOf(analyzer).getTimeFFTSetup(unused, sampleRate, rateDivider);
}
