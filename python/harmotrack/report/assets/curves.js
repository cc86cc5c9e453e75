// What runs over the speed: order cuts, their phases, the polar plot, levels, whirl, the speed.

import { cutAmplitudes, cutPath, cutPhases } from "./cuts.js";
import { LinePlot } from "./line_plot.js";
import { PolarPlot } from "./polar_plot.js";
import { cellAt } from "./scales.js";
import { colour } from "./theme.js";

const SPEED_LABEL = "Speed, rpm";

export function makeCurves(context, views) {
  const over = overSpeed(context, views);
  const plots = {
    amplitude: new LinePlot(document.getElementById("cut-amplitude"), {
      ...over,
      y: {
        label: () => context.scaleLabel(),
        range: () => amplitudeRange(context, plots.amplitude),
      },
      moving: [{ stroke: () => colour("ghost"), width: 2 }],
      isBelow: true,
    }),
    phase: new LinePlot(document.getElementById("cut-phase"), {
      ...over,
      y: {
        label: () => "Phase, degrees",
        range: () => [-180, 180],
        increments: [15, 30, 45, 60, 90, 180],
      },
    }),
    overall: new LinePlot(document.getElementById("overall"), {
      ...over,
      y: { label: () => overallLabel(context), range: () => fittedRange(context, plots.overall) },
      series: [{ stroke: () => colour("accent"), width: 2 }],
    }),
    profile: makeProfile(context),
  };
  const polar = new PolarPlot(document.getElementById("polar"), {
    move: (row) => context.moveToSpeed(context.results.speed[row]),
  });
  plots.whirl = makeWhirl(context, over);
  listen(context, plots, polar);
  return { plots, polar };
}

// The axis of speeds is that of the order map, zoomed as it is.
function overSpeed(context, views) {
  return {
    x: { label: SPEED_LABEL, range: () => [views.order.view.y0, views.order.view.y1] },
    move: (rpm) => context.moveToSpeed(rpm),
  };
}

function overallLabel(context) {
  const { unit, reference } = context.channel;
  return context.get("isLinear") ? `${unit} rms`.trim() : `dB re ${reference}, rms`;
}

/** On a linear scale from 0 to the largest value; in dB the range of the maps. */
function amplitudeRange(context, plot) {
  if (!context.get("isLinear")) return context.scaleRange();
  return [0, 1.05 * largestOf(plot) || context.scaleRange()[1]];
}

/** Round the values that are there, at least 20 dB high. */
function fittedRange(context, plot) {
  const most = largestOf(plot);
  if (!Number.isFinite(most)) return context.scaleRange();
  if (context.get("isLinear")) return [0, 1.05 * most || 1];
  let least = most;
  for (const value of plot.data[1]) if (value !== null && value < least) least = value;
  return [Math.max(Math.min(least - 2, most - 20), most - 120), most + 2];
}

function largestOf(plot) {
  let most = -Infinity;
  for (const values of plot.data.slice(1)) {
    for (const value of values) if (value !== null && value > most) most = value;
  }
  return most;
}

function makeProfile(context) {
  const { profileTime, profileSpeed, speed } = context.results;
  const plot = new LinePlot(document.getElementById("profile"), {
    x: {
      label: "Time, s",
      range: () => [profileTime[0] ?? 0, profileTime[profileTime.length - 1] ?? 1],
    },
    y: {
      label: () => SPEED_LABEL,
      range: () => [
        Math.min(speed[0], ...minmax(profileSpeed)),
        Math.max(speed[speed.length - 1], ...minmax(profileSpeed)),
      ],
    },
    series: [{ stroke: () => colour("accent"), width: 2 }],
    move: (seconds) => context.moveToTime(seconds),
  });
  plot.fixedValues = () => [profileTime, profileSpeed];
  return plot;
}

function minmax(values) {
  let [least, most] = [Infinity, -Infinity];
  for (const value of values) {
    if (value < least) least = value;
    if (value > most) most = value;
  }
  return values.length ? [least, most] : [];
}

function makeWhirl(context, over) {
  const host = document.getElementById("whirl");
  if (!host) return null;
  const plot = new LinePlot(host, {
    ...over,
    y: { label: () => context.scaleLabel(), range: () => amplitudeRange(context, plot) },
    moving: [
      { stroke: () => colour("forward"), width: 2 },
      { stroke: () => colour("backward"), width: 2, dash: [6, 4] },
    ],
  });
  return plot;
}

// What is drawn anew, and when.

function listen(context, plots, polar) {
  const { store } = context;
  const { speed } = context.results;
  plots.amplitude.fixedValues = () => [
    speed,
    ...context.get("cuts").map((cut) => shownAmplitudes(context, cut)),
  ];
  plots.amplitude.movingValues = () => {
    return [shownAmplitudes(context, { order: context.get("order"), harmonic: -1 })];
  };
  plots.phase.fixedValues = () => [speed, ...phases(context)];
  plots.overall.fixedValues = () => [speed, overall(context)];
  if (plots.whirl) {
    plots.whirl.fixedValues = () => [speed];
    plots.whirl.movingValues = () => whirl(context);
  }
  store.listen(["maps", "cuts", "usesSlices", "isLinear"], () => {
    buildCutPlots(context, plots);
    showPolar(context, polar);
  });
  store.listen(["maps", "isLinear"], () => {
    plots.overall.build();
    plots.whirl?.build();
  });
  store.listen(["low", "high", "orderZoom"], () => {
    for (const plot of Object.values(plots)) plot?.show();
  });
  store.listen(["order"], () => {
    plots.amplitude.showMoving();
    plots.whirl?.showMoving();
  });
  store.listen(["row"], () => {
    for (const name of ["amplitude", "phase", "overall", "whirl"]) {
      plots[name]?.setCursor(context.speed);
    }
    polar.setRow(context.get("row"));
  });
  store.listen(["time"], () => plots.profile.setCursor(context.get("time")));
}

/** A line for each cut; the grey one of the order under the cursor is there already. */
function buildCutPlots(context, plots) {
  const cuts = context.get("cuts");
  const line = ({ stroke, dash }) => ({ stroke, dash, width: 2 });
  plots.amplitude.build(cuts.map(line));
  const phased = cuts.filter((cut) => cut.hasPhase);
  plots.phase.build(phased.map(({ stroke }) => ({ stroke, isPoints: true })));
  plots.phase.host.hidden = phased.length === 0;
}

function shownAmplitudes(context, cut) {
  return Array.from(cutAmplitudes(context, cut), (value) => finite(context.shownAmplitude(value)));
}

function phases(context) {
  const cuts = context.get("cuts").filter((cut) => cut.hasPhase);
  const channel = context.get("channel");
  return cuts.map((cut) => cutPhases(context.results, channel, cut));
}

function showPolar(context, polar) {
  const cuts = context.get("cuts").filter((cut) => cut.hasPhase);
  const channel = context.get("channel");
  polar.show(
    cuts.map((cut) => cutPath(context.results, channel, cut)),
    context.results.speed,
    context.channel.unit,
  );
}

function overall(context) {
  const { results } = context;
  const channel = context.get("channel");
  const { overallReferenceLevel } = context.channel;
  return Array.from(results.speed, (_, row) =>
    finite(context.shownAmplitude(results.overall(channel, row), overallReferenceLevel)),
  );
}

function whirl(context) {
  const { results, maps } = context;
  const radii = (order) => {
    const column = cellAt(context.directionalEdges, order);
    return Array.from(results.speed, (_, row) =>
      finite(context.shown(maps.directional.level(row, column))),
    );
  };
  const order = context.get("order");
  return [radii(order), radii(-order)];
}

function finite(value) {
  return Number.isFinite(value) ? value : null;
}
