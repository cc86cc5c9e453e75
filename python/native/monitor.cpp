#include "monitor.h"

#include "arrays.h"

#include "host/analysis_results.h"
#include "host/analysis_run.h"
#include "host/analysis_settings.h"
#include "host/tacho_settings.h"

#include <nanobind/stl/optional.h>
#include <nanobind/stl/vector.h>

#include <complex>
#include <cstddef>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace nb = nanobind;
using namespace nb::literals;

namespace Harmotrack::Python {
namespace {

/// A result that outlives the callback which brought it.
struct Block {
    explicit Block(const Host::BlockResult& result)
        : signal(result.signal), seconds(result.seconds), rpm(result.speedRpm), bin(result.bin),
          orderSpectrum(result.orderSpectrum.begin(), result.orderSpectrum.end()),
          frequencySpectrum(result.frequencySpectrum.begin(), result.frequencySpectrum.end()),
          harmonics(result.harmonics.begin(), result.harmonics.end()), overall(result.overall)
    {
    }

    std::size_t signal;
    double seconds;
    double rpm;
    int bin;
    std::vector<float> orderSpectrum;
    std::vector<float> frequencySpectrum;
    std::vector<std::complex<float>> harmonics;
    float overall;
};

/// An analysis that goes on while its samples come, for one or two channels. Results wait until
/// they are taken.
class Monitor {
public:
    /// With the tacho's settings the angle comes from samples of its channel, else from speeds.
    Monitor(const Host::AnalysisSettings& settings,
            double rateHz,
            double startSeconds,
            std::size_t channels,
            const std::optional<Host::TachometerSettings>& tachometer)
        : run_(settings)
    {
        Host::RunInput input;
        input.rateHz = rateHz;
        input.startSeconds = startSeconds;
        input.channels = channels;
        input.tachometer = tachometer;
        if (!tachometer) input.speed.emplace();
        Host::RunCallbacks callbacks;
        callbacks.onResult = [this](const Host::BlockResult& block) {
            blocks_.emplace_back(block);
        };
        run_.start(input, callbacks);
    }

    // The run keeps a callback that knows this object.
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    void feed(const std::vector<Samples>& signals)
    {
        std::vector<std::span<const double>> spans;
        spans.reserve(signals.size());
        for (const Samples& samples : signals) spans.push_back(spanOf(samples));
        const nb::gil_scoped_release unlocked;
        run_.feed(spans);
    }

    void feedTacho(const Samples& samples)
    {
        const nb::gil_scoped_release unlocked;
        run_.feedTacho(spanOf(samples));
    }

    void feedSpeed(const Samples& seconds, const Samples& rpm)
    {
        const nb::gil_scoped_release unlocked;
        run_.feedSpeed(spanOf(seconds), spanOf(rpm));
    }

    std::vector<Block> take() { return std::exchange(blocks_, {}); }

    Host::AnalysisResults finish()
    {
        const nb::gil_scoped_release unlocked;
        return std::move(run_.finish().front());
    }

private:
    Host::AnalysisRun run_;
    std::vector<Block> blocks_;
};

/// Read access to a field that holds a vector: a view that keeps the block alive.
template <typename T>
auto viewOfField(std::vector<T> Block::*field)
{
    return [field](nb::handle_t<Block> self) {
        const auto& values = nb::cast<const Block&>(self).*field;
        return viewOf(values.data(), {values.size()}, self);
    };
}

} // namespace

void bindMonitor(nb::module_& module)
{
    nb::class_<Block>(module, "Block", "One result as it came.")
        .def_ro("signal", &Block::signal)
        .def_ro("seconds", &Block::seconds)
        .def_ro("rpm", &Block::rpm)
        .def_ro("bin", &Block::bin)
        .def_ro("overall", &Block::overall)
        .def_prop_ro("order_spectrum", viewOfField(&Block::orderSpectrum))
        .def_prop_ro("frequency_spectrum", viewOfField(&Block::frequencySpectrum))
        .def_prop_ro("harmonics", viewOfField(&Block::harmonics));

    nb::class_<Monitor>(module, "Monitor", "An analysis that goes on while its samples come.")
        .def(nb::init<const Host::AnalysisSettings&,
                      double,
                      double,
                      std::size_t,
                      const std::optional<Host::TachometerSettings>&>(),
             "settings"_a,
             "rate"_a,
             "start"_a,
             "channels"_a,
             "tachometer"_a.none())
        .def("feed", &Monitor::feed, "signals"_a)
        .def("feed_tacho", &Monitor::feedTacho, "samples"_a)
        .def("feed_speed", &Monitor::feedSpeed, "seconds"_a, "rpm"_a)
        .def("take", &Monitor::take, "The results since the last call.")
        .def("finish", &Monitor::finish);
}

} // namespace Harmotrack::Python
