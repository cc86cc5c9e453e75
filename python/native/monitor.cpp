#include "monitor.h"

#include "arrays.h"

#include "host/analysis/analysis_results.h"
#include "host/analysis/analysis_run.h"
#include "host/analysis/analysis_settings.h"
#include "host/shaft/angle_knot.h"
#include "host/shaft/shaft_angle.h"
#include "host/shaft/tacho_settings.h"

#include <nanobind/stl/optional.h>
#include <nanobind/stl/vector.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace nb = nanobind;
using namespace nb::literals;

namespace Harmotrack::Python {
namespace {

using Spans = std::vector<std::span<const double>>;

Spans spansOf(const std::vector<Samples>& signals)
{
    Spans spans;
    spans.reserve(signals.size());
    for (const Samples& samples : signals) spans.push_back(spanOf(samples));
    return spans;
}

/// A result that outlives the callback which brought it.
struct Block {
    explicit Block(const Host::BlockResult& result)
        : pass(static_cast<int>(result.pass)), signal(result.signal), seconds(result.seconds),
          rpm(result.speedRpm), bin(result.bin),
          orderSpectrum(result.orderSpectrum.begin(), result.orderSpectrum.end()),
          frequencySpectrum(result.frequencySpectrum.begin(), result.frequencySpectrum.end()),
          harmonics(result.harmonics.begin(), result.harmonics.end()),
          directional(result.whirlSpectrum.begin(), result.whirlSpectrum.end()),
          overall(result.overall)
    {
    }

    int pass; ///< 0 both, 1 rising, 2 falling
    std::size_t signal;
    double seconds;
    double rpm;
    int bin; ///< -1: a spectrum by sample count
    std::vector<float> orderSpectrum;
    std::vector<float> frequencySpectrum;
    std::vector<std::complex<float>> harmonics;
    std::vector<float> directional;
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
        const Spans spans = spansOf(signals);
        const nb::gil_scoped_release unlocked;
        run_.feed(spans);
    }

    void feedStamp(double seconds) { run_.feedStamp(seconds); }

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

    std::vector<Host::AnalysisResults> finish()
    {
        const nb::gil_scoped_release unlocked;
        return run_.finish();
    }

private:
    Host::AnalysisRun run_;
    std::vector<Block> blocks_;
};

/// An analysis of one or two channels whose shaft is known from beginning to end, while the samples
/// come in pieces of any size. They are read where they stand, and none is kept.
///
/// Memory: the knots of the angle and, with settings.rowOverlapPercent, a row for each block of the
/// shaft's turns; else none that grows with time.
class WholeRun {
public:
    /// @param segments  of known angle, in the order of time
    WholeRun(const Host::AnalysisSettings& settings,
             const std::vector<Host::ShaftAngle>& segments,
             double startSeconds,
             double rateHz,
             std::size_t channels)
        : startSeconds_(startSeconds), rateHz_(rateHz), rows_(channels), run_(settings)
    {
        for (const Host::ShaftAngle& segment : segments) {
            const std::vector<Host::AngleKnot> knots = segment.knots();
            knots_.insert(knots_.end(), knots.begin(), knots.end());
        }
        Host::RunInput input;
        input.rateHz = rateHz;
        input.startSeconds = startSeconds;
        input.channels = channels;
        Host::RunCallbacks callbacks;
        if (settings.rowOverlapPercent) {
            callbacks.onResult = [this](const Host::BlockResult& result) {
                if (result.bin < 0) keepRow(result);
            };
        }
        run_.start(input, callbacks);
    }

    // The run keeps a callback that knows this object.
    WholeRun(const WholeRun&) = delete;
    WholeRun& operator=(const WholeRun&) = delete;

    void feed(const std::vector<Samples>& signals)
    {
        const Spans spans = spansOf(signals);
        const nb::gil_scoped_release unlocked;
        const std::size_t length = spans.empty() ? 0 : spans.front().size();
        const bool together = std::all_of(
            spans.begin(), spans.end(), [&](auto span) { return span.size() == length; });
        if (!together) run_.feed(spans); // which says what is wrong
        Spans piece(spans.size());
        for (std::size_t done = 0; done < length;) {
            const std::size_t count = std::min(pieceSamples(), length - done);
            for (std::size_t c = 0; c < spans.size(); ++c) piece[c] = spans[c].subspan(done, count);
            done += count;
            fed_ += count;
            feedAngleUntil(startSeconds_ + static_cast<double>(fed_) / rateHz_);
            run_.feed(piece);
        }
    }

    std::vector<Host::AnalysisResults> finish()
    {
        const nb::gil_scoped_release unlocked;
        feedAngleUntil(std::numeric_limits<double>::infinity());
        return run_.finish();
    }

    [[nodiscard]] const std::vector<double>& rowSeconds() const { return rowSeconds_; }

    [[nodiscard]] const Host::Table& rows(std::size_t channel) const { return rows_.at(channel); }

private:
    // The angle goes as far as the samples have come: so the steps of a long recording do not wait
    // all at once.
    [[nodiscard]] std::size_t pieceSamples() const
    {
        return static_cast<std::size_t>(std::max(std::ceil(0.25 * rateHz_), 1.0));
    }

    void feedAngleUntil(double seconds)
    {
        std::size_t end = nextKnot_;
        while (end < knots_.size() && knots_[end].seconds <= seconds) ++end;
        run_.feedKnots(std::span(knots_).subspan(nextKnot_, end - nextKnot_));
        nextKnot_ = end;
    }

    void keepRow(const Host::BlockResult& row)
    {
        if (row.signal == 0) rowSeconds_.push_back(row.seconds);
        Host::Table& table = rows_.at(row.signal);
        table.columns = row.orderSpectrum.size();
        table.append(row.orderSpectrum);
    }

    double startSeconds_;
    double rateHz_;
    std::vector<Host::AngleKnot> knots_;
    std::size_t nextKnot_ = 0;
    std::size_t fed_ = 0; ///< samples
    std::vector<double> rowSeconds_;
    std::vector<Host::Table> rows_;
    Host::AnalysisRun run_;
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

void bindWholeRun(nb::module_& module)
{
    nb::class_<WholeRun>(module, "Run", "One or two channels against a shaft of known course.")
        .def(nb::init<const Host::AnalysisSettings&,
                      const std::vector<Host::ShaftAngle>&,
                      double,
                      double,
                      std::size_t>(),
             "settings"_a,
             "segments"_a,
             "start"_a,
             "rate"_a,
             "channels"_a)
        .def(
            "feed", &WholeRun::feed, "signals"_a, "The next samples, equally many of each channel.")
        .def("finish", &WholeRun::finish, "Of the one pass, or of the rising and the falling one.")
        .def_prop_ro("row_seconds",
                     [](nb::handle_t<WholeRun> self) {
                         const auto& values = nb::cast<const WholeRun&>(self).rowSeconds();
                         return viewOf(values.data(), {values.size()}, self);
                     })
        .def(
            "rows",
            [](nb::handle_t<WholeRun> self, std::size_t which) {
                const Host::Table& table = nb::cast<const WholeRun&>(self).rows(which);
                return viewOf(table.values.data(), {table.rows(), table.columns}, self);
            },
            "signal"_a,
            "Spectra by sample count, if settings.row_overlap_percent asks for them.");
}

void bindLiveRun(nb::module_& module)
{
    nb::class_<Block>(module, "Block", "One result as it came.")
        .def_ro("pass_number", &Block::pass)
        .def_ro("signal", &Block::signal)
        .def_ro("seconds", &Block::seconds)
        .def_ro("rpm", &Block::rpm)
        .def_ro("bin", &Block::bin)
        .def_ro("overall", &Block::overall)
        .def_prop_ro("order_spectrum", viewOfField(&Block::orderSpectrum))
        .def_prop_ro("frequency_spectrum", viewOfField(&Block::frequencySpectrum))
        .def_prop_ro("harmonics", viewOfField(&Block::harmonics))
        .def_prop_ro("directional", viewOfField(&Block::directional));

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
        .def("feed_stamp", &Monitor::feedStamp, "seconds"_a, "Of the next sample.")
        .def("feed_tacho", &Monitor::feedTacho, "samples"_a)
        .def("feed_speed", &Monitor::feedSpeed, "seconds"_a, "rpm"_a)
        .def("take", &Monitor::take, "The results since the last call.")
        .def("finish", &Monitor::finish, "Of the one pass, or of the rising and the falling one.");
}

} // namespace

void bindMonitor(nb::module_& module)
{
    bindWholeRun(module);
    bindLiveRun(module);
}

} // namespace Harmotrack::Python
