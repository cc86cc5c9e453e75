"""What the page says in words and tables; every text of the recording is escaped here."""

from __future__ import annotations

import re
from collections.abc import Iterable, Sequence
from html import escape
from itertools import groupby

import numpy as np

from harmotrack.amplitudes import LEAST_COHERENCE
from harmotrack.decibels import CONVENTIONS
from harmotrack.order_analysis import OrderAnalysis
from harmotrack.report.findings import (
    Dominance,
    Findings,
    SpeedQuality,
    Whirl,
    amount,
    first_line_beside_zero,
    number,
    span,
    speeds,
)
from harmotrack.report.resonances import Resonance

#: Repairs beyond this number are only counted.
MOST_REPAIRS = 200


def subtitle(analysis: OrderAnalysis, findings: Findings) -> str:
    names = ", ".join(_with_unit(analysis, name) for name in analysis.channels)
    speed = findings.speed
    return escape(
        f"{names} · {span(speed.lowest_rpm, speed.highest_rpm)} · "
        f"speed from {analysis.attrs.get('speed_source', 'an unknown source')}"
    )


def _with_unit(analysis: OrderAnalysis, channel: str) -> str:
    unit = analysis.unit(channel)
    return f"{channel} ({unit})" if unit else channel


def findings(analysis: OrderAnalysis, found: Findings) -> str:
    return "\n".join(
        [
            _card("Which orders resonate, and where?", _resonances(analysis, found), "wide"),
            _card("Which order dominates?", _dominance(analysis, found.dominance), "five"),
            _card("Forward or backward?", _whirl(analysis, found.whirl), "three"),
            _card("How good is the speed?", _speed(analysis, found.speed), "four"),
            _card("What can't these data tell?", _items(found.limits), "wide columns"),
        ]
    )


def _card(title: str, body: str, shape: str) -> str:
    """The shape, a class of the style sheet, is "wide" or so many twelfths of the page, and with
    "columns" its list stands in two."""
    return f'<article class="card {shape}"><h3>{escape(title)}</h3>{body}</article>'


def _paragraph(text: str) -> str:
    return f"<p>{_prose(text)}</p>"


def _items(texts: Iterable[str]) -> str:
    return "<ul>" + "".join(f"<li>{_prose(text)}</li>" for text in texts) + "</ul>"


def _prose(text: str) -> str:
    """Escaped, and no line ends between a number and its unit."""
    return escape(re.sub(r"(?<=\d) (?=(%|rpm|Hz|s|°)(?!\w))", "\u00a0", text))


def _table(caption: str, head: Sequence[str], rows: Iterable[Sequence[str]]) -> str:
    heads = "".join(f'<th scope="col">{escape(text)}</th>' for text in head)
    body = "".join(
        "<tr>" + "".join(f"<td>{escape(cell)}</td>" for cell in row) + "</tr>" for row in rows
    )
    return (
        f'<div class="scroll" tabindex="0" role="region" aria-label="{escape(caption)}"><table>'
        f"<caption>{escape(caption)}</caption><thead><tr>{heads}</tr></thead>"
        f"<tbody>{body}</tbody></table></div>"
    )


# Resonances.


def _resonances(analysis: OrderAnalysis, found: Findings) -> str:
    certain = [one for one in found.resonances if one.is_certain]
    others = [one for one in found.resonances if not one.is_certain]
    parts = []
    if certain:
        parts.append(_items(_sentence(analysis, one) for one in certain))
        parts.append(_resonance_table(analysis, certain))
    else:
        parts.append(_paragraph("No extracted order shows a peak whose phase turns with it."))
    if others:
        parts.append(
            _paragraph(
                "Peaks that may be resonances, but whose phase does not show it: "
                + "; ".join(_peak(analysis, one) for one in others)
                + "."
            )
        )
    if certain and any(one.damping is not None for one in certain):
        parts.append(
            _paragraph(
                "Natural speed and damping are those of one degree of freedom that fits amplitude "
                "and phase round the peak. A fast run-up or long blocks make the peak wider and "
                "the damping seem larger."
            )
        )
    return "".join(parts)


def _sentence(analysis: OrderAnalysis, one: Resonance) -> str:
    unit = analysis.unit(one.channel)
    convention = CONVENTIONS[analysis.order_map.attrs["amplitude"]]
    text = (
        f"Order {number(one.order)} of {one.channel} is largest at {number(one.rpm)} rpm "
        f"({number(one.hertz)} Hz): {amount(one.amplitude, unit)} {convention}"
    )
    if one.phase is None or one.turn is None:
        return text + "."
    return (
        f"{text}, phase {_degrees(one.phase)}, which falls by {_degrees(-one.turn)} from "
        f"{span(one.turn_from, one.turn_to)}."
    )


def _degrees(value: float) -> str:
    return f"{value:.0f}°".replace("-", "−")


def _peak(analysis: OrderAnalysis, one: Resonance) -> str:
    return (
        f"order {number(one.order)} of {one.channel} at {number(one.rpm)} rpm "
        f"({number(one.hertz)} Hz, {amount(one.amplitude, analysis.unit(one.channel), 3)})"
    )


def _resonance_table(analysis: OrderAnalysis, found: Sequence[Resonance]) -> str:
    return _table(
        "Resonances",
        [
            "Channel",
            "Order",
            "Largest at, rpm",
            "Frequency, Hz",
            "Amplitude",
            "Phase there",
            "Phase turns",
            "Natural speed, rpm",
            "Damping ratio",
        ],
        (
            [
                one.channel,
                number(one.order),
                number(one.rpm),
                number(one.hertz),
                amount(one.amplitude, analysis.unit(one.channel)),
                "—" if one.phase is None else _degrees(one.phase),
                "—" if one.turn is None else _degrees(one.turn),
                "—" if one.natural_rpm is None else number(one.natural_rpm),
                "—" if one.damping is None else f"{100 * one.damping:.1f} %",
            ]
            for one in found
        ),
    )


# Dominance and whirl.


def _dominance(analysis: OrderAnalysis, found: Sequence[Dominance]) -> str:
    if not found:
        return _paragraph("No spectrum was measured.")
    return _table(
        "Strongest order by speed",
        ["Channel", "Speed, rpm", "Order", "Largest", "at, rpm"],
        (
            [
                one.channel,
                speeds(one.from_rpm, one.to_rpm),
                number(one.order),
                amount(one.amplitude, analysis.unit(one.channel), 3),
                number(one.amplitude_rpm),
            ]
            for one in found
        ),
    )


def _whirl(analysis: OrderAnalysis, found: Sequence[Whirl]) -> str:
    if analysis.directional is None:
        return (
            "<p>Not known: this takes two channels from directions a quarter turn apart, which are "
            "named to the analysis by <code>--directional</code>.</p>"
        )
    if not found:
        return _paragraph("No extracted order stands out of the noise.")
    pair = f"{analysis.attrs['directional_x']} and {analysis.attrs['directional_y']}"
    return _table(
        "Whirl by order and speed",
        ["Order", "Whirl", "Speed, rpm"],
        (
            [number(one.order), _SENSES[one.sense], speeds(one.from_rpm, one.to_rpm)]
            for one in found
        ),
    ) + _paragraph(f"Seen in the plane of {pair}.")


_SENSES = {"forward": "forward", "backward": "backward", "straight": "in a straight line"}


# What an eye sees on the maps, for those who listen to the page.

#: Stretches beyond this number are only counted.
MOST_SPOKEN = 6


def order_map_summary(analysis: OrderAnalysis, found: Findings, channel: str) -> str:
    own = [one for one in found.dominance if one.channel == channel]
    if not own:
        return "Nothing was measured."
    parts = [
        f"order {number(one.order)} from {span(one.from_rpm, one.to_rpm)}"
        for one in own[:MOST_SPOKEN]
    ]
    more = len(own) - MOST_SPOKEN
    parts += [f"in {more} more stretches other orders"] if more > 0 else []
    top = max(own, key=lambda one: one.amplitude)
    return (
        f"Of {channel}, the strongest is {_joined(parts)}. The largest amplitude is "
        f"{amount(top.amplitude, analysis.unit(channel), 3)}, of order {number(top.order)} at "
        f"{number(top.amplitude_rpm)} rpm."
    )


def frequency_map_summary(analysis: OrderAnalysis, channel: str) -> str:
    """The largest line beside 0 Hz."""
    values = analysis.frequency_map.sel(channel=channel).values
    first = first_line_beside_zero(analysis)
    if values.shape[1] <= first or not np.isfinite(values[:, first:]).any():
        return "Nothing was measured."
    row, line = np.unravel_index(np.nanargmax(values[:, first:]), values[:, first:].shape)
    speed = float(analysis.frequency_map["speed"].values[row])
    hertz = float(analysis.frequency_map["frequency"].values[first + line])
    largest = amount(float(values[row, first + line]), analysis.unit(channel), 3)
    return (
        f"Of {channel}, the largest amplitude is {largest}, at {number(hertz)} Hz and "
        f"{number(speed)} rpm. An order is a straight line through 0 Hz and 0 rpm."
    )


def whirl_map_summary(found: Findings) -> str:
    sentences = []
    for order, group in groupby(found.whirl[:MOST_SPOKEN], key=lambda one: one.order):
        parts = [f"{_SENSES[one.sense]} from {span(one.from_rpm, one.to_rpm)}" for one in group]
        sentences.append(f"Order {number(order)} whirls {_joined(parts)}.")
    return " ".join(sentences) or "No order stands out of the noise."


def _joined(parts: Sequence[str]) -> str:
    return " and ".join([", ".join(parts[:-1]), parts[-1]] if len(parts) > 1 else parts)


# The speed.


def _speed(analysis: OrderAnalysis, speed: SpeedQuality) -> str:
    source = str(analysis.attrs.get("speed_source", "an unknown source"))
    texts = [
        f"Measured by: {source}.",
        f"{speed.turns} values, one a revolution, from "
        f"{span(speed.lowest_rpm, speed.highest_rpm)}.",
        "There is a mark on the shaft."
        if analysis.attrs.get("has_mark", 1)
        else "There is no mark on the shaft.",
    ]
    if speed.scatter_percent is not None:
        texts.append(
            f"Single values scatter by {_percent(speed.scatter_percent)} round the course of their "
            f"neighbours: {_verdict(speed.scatter_percent)}."
        )
    if speed.largest_step_percent is not None and speed.largest_step_time is not None:
        texts.append(
            f"The largest change from one value to the next is "
            f"{_percent(speed.largest_step_percent)}, at {number(speed.largest_step_time)} s."
        )
    if speed.repairs is not None:
        count = len(speed.repairs)
        texts.append(
            "No pulse was missing or had to be mended."
            if count == 0
            else f"{count} {'place was' if count == 1 else 'places were'} mended; they are listed "
            "below."
        )
    return _items(texts)


def _percent(value: float) -> str:
    return "less than 0.001 %" if value < 0.001 else f"{number(value, 2)} %"


def _verdict(scatter_percent: float) -> str:
    if scatter_percent < 0.1:
        return "a clean speed"
    return "good enough for low orders" if scatter_percent < 1.0 else "a rough speed"


# What was done.


def phase_note(analysis: OrderAnalysis) -> str:
    reference = str(analysis.attrs.get("phase_reference", "cosine"))
    if analysis.attrs.get("phase_mode") == "first-order":
        against = "against order 1"
    elif analysis.attrs.get("has_mark", 1):
        against = "against the mark on the shaft"
    else:
        against = "without a mark on the shaft, from the start of the recording"
    return escape(
        f"Phases of whole orders, as {reference}, {against}; a fall is a later answer. They are "
        "left out where their coherence, complex mean over amplitude, is below "
        f"{LEAST_COHERENCE:g}."
    )


def directional_panels(analysis: OrderAnalysis, found: Findings) -> str:
    if analysis.directional is None:
        return ""
    pair = escape(f"{analysis.attrs['directional_x']} and {analysis.attrs['directional_y']}")
    return f"""
<figure class="panel" aria-labelledby="directional-title">
<figcaption id="directional-title">Whirl map
<small>circles in the plane of {pair}</small></figcaption>
<div id="directional-map" class="map" data-height="300" data-print-height="190" tabindex="0"
 role="application" aria-roledescription="colour map" aria-label="Whirl map over order and speed"
 aria-describedby="directional-summary keys"></div>
<p id="directional-summary" class="unseen">{escape(whirl_map_summary(found))}</p>
<div id="directional-spectrum" class="plot" data-height="170" data-print-height="120"></div>
</figure>
<figure class="panel" aria-labelledby="whirl-title">
<figcaption id="whirl-title"><span>Whirl of order <span id="whirl-order">—</span></span>
<small>the one at the cursor</small> <span class="legend">
<i class="forward"></i>forward <i class="backward"></i>backward</span></figcaption>
<div id="whirl" class="plot" data-height="470" data-print-height="296"></div>
</figure>"""


def settings(analysis: OrderAnalysis, found: Findings) -> str:
    cards = [
        _card("Resolution achieved", _pairs(_resolution(analysis)), "five"),
        _card("Settings", _pairs(_settings(analysis)), "beside columns"),
        _card("Repairs of the tacho", _repairs(analysis, found.speed), "five"),
    ]
    repairs = set(found.speed.repairs or ())
    remarks = [remark for remark in analysis.remarks if remark not in repairs]
    if remarks:
        cards.append(_card("Remarks on the recording", _items(remarks), "wide columns"))
    return "\n".join(cards)


def _pairs(pairs: Iterable[tuple[str, str]]) -> str:
    items = "".join(
        f"<div><dt>{escape(name)}</dt><dd>{_prose(text)}</dd></div>" for name, text in pairs
    )
    return f"<dl>{items}</dl>"


def _resolution(analysis: OrderAnalysis) -> list[tuple[str, str]]:
    order = float(analysis.order_map.attrs["resolution"])
    hertz = float(analysis.frequency_map.attrs["resolution"])
    bandwidth = float(analysis.order_map.attrs["noise_bandwidth"])
    orders = analysis.order_map["order"].values
    frequencies = analysis.frequency_map["frequency"].values
    speed = analysis.order_map["speed"].values
    step = float(np.diff(speed).mean()) if speed.size > 1 else 0.0
    measured = int(analysis.measured.sum())
    blocks = int(analysis.order_blocks.values.sum())
    pairs = [("Speed", f"{speed.size} rows, {number(step)} rpm apart, {measured} measured")]
    if order > 0:
        turns = number(1 / order)
        pairs.append(("Order lines", f"{number(order)} apart: blocks of {turns} revolutions"))
    if hertz > 0:
        pairs.append(
            ("Frequency lines", f"{number(hertz)} Hz apart: blocks of {number(1 / hertz)} s")
        )
    return [
        *pairs,
        ("Noise bandwidth", f"{number(bandwidth)} lines"),
        ("Highest order", number(float(orders[-1]))),
        ("Highest frequency", f"{number(float(frequencies[-1]))} Hz"),
        ("Blocks", f"{blocks} of equal angles"),
    ]


#: Settings by their attributes, and the unit that follows.
_SETTING_NAMES = {
    "window": ("Window", ""),
    "amplitude": ("Amplitudes", ""),
    "weighting": ("Weighting", ""),
    "averaging": ("Several blocks at one speed", ""),
    "block_mode": ("Blocks", ""),
    "direction": ("Direction of the speed", ""),
    "min_rpm": ("Lowest speed", " rpm"),
    "max_rpm": ("Highest speed", " rpm"),
    "step_rpm": ("Step of the speed", " rpm"),
    "hysteresis_percent": ("Hysteresis of the speed", " % of the step"),
    "highest_order": ("Highest order asked for", ""),
    "order_resolution": ("Order resolution asked for", ""),
    "slice_width": ("Width of an order slice", " orders"),
    "phase_mode": ("Phases against", ""),
    "phase_reference": ("Phase reference", ""),
    "remove_mean": ("Mean of each block", ""),
    "time_lines": ("Lines of the frequency spectra", ""),
    "harmotrack": ("Made by Harmotrack", ""),
}


def _settings(analysis: OrderAnalysis) -> list[tuple[str, str]]:
    pairs = []
    for attribute, (name, unit) in _SETTING_NAMES.items():
        if attribute not in analysis.attrs:
            continue
        value = analysis.attrs[attribute]
        if attribute == "remove_mean":
            text = "removed" if value else "kept"
        elif attribute == "time_lines" and value == 0:
            text = "chosen by the length of an order block"
        else:
            text = value if isinstance(value, str) else number(float(value), 6)
        pairs.append((name, f"{text}{unit}"))
    extracted = ", ".join(number(float(order)) for order in analysis.harmonics["harmonic"].values)
    return [*pairs, ("Extracted orders", extracted or "none")]


def _repairs(analysis: OrderAnalysis, speed: SpeedQuality) -> str:
    if speed.repairs is None and not analysis.attrs.get("has_mark", 1):
        return _paragraph("The speed did not come from pulses, so there was nothing to mend.")
    if speed.repairs is None:
        return _paragraph("Not recorded.")
    if not speed.repairs:
        return _paragraph("None were needed.")
    more = len(speed.repairs) - MOST_REPAIRS
    rest = _paragraph(f"And {more} more.") if more > 0 else ""
    return _items(speed.repairs[:MOST_REPAIRS]) + rest
