// Order cuts: which ones are shown, and their values over the speed.

import { cellAt } from "./scales.js";
import { colour } from "./theme.js";

const COLOURS = 6;
const DASHES = [undefined, [7, 3], [2, 3], [10, 3, 2, 3]];

/** A cut of an order: extracted with its phase, or read from a line of the map without one. */
export function makeCut(results, order, number) {
  const harmonic = results.harmonicIndex(order);
  return {
    order: harmonic < 0 ? order : results.harmonicOrders[harmonic],
    harmonic,
    number,
    hasPhase: harmonic >= 0 && results.hasPhase[harmonic],
    stroke: () => colour(`cut-${number % COLOURS}`),
    dash: DASHES[Math.floor(number / COLOURS) % DASHES.length],
  };
}

/** The smallest number that no cut has: it chooses colour and dashes. */
export function freeNumber(cuts) {
  let number = 0;
  while (cuts.some((cut) => cut.number === number)) number += 1;
  return number;
}

/** Amplitudes over the speed, in the channel's unit; NaN where nothing was measured. */
export function cutAmplitudes(context, cut) {
  const { results, maps } = context;
  const channel = context.get("channel");
  const usesSlices = context.get("usesSlices");
  const values = new Float64Array(results.speed.length);
  const column = cut.harmonic < 0 ? cellAt(context.orderEdges, cut.order) : -1;
  for (let row = 0; row < values.length; row += 1) {
    if (column >= 0) values[row] = 10 ** (maps.order.level(row, column) / 20);
    else if (usesSlices) values[row] = results.slice(channel, cut.harmonic, row);
    else values[row] = results.amplitude(channel, cut.harmonic, row);
  }
  return values;
}

/** Phases in degrees, -180 to 180; null where there is none, or it is not steady. */
export function cutPhases(results, channel, cut) {
  const values = [];
  for (let row = 0; row < results.speed.length; row += 1) {
    const isShown = cut.hasPhase && results.isSteady(channel, cut.harmonic, row);
    values.push(isShown ? results.phase(channel, cut.harmonic, row) : null);
  }
  return values;
}

/** The path of a cut in the polar plot; a gap where its phase is not steady. */
export function cutPath(results, channel, cut) {
  const x = [];
  const y = [];
  for (let row = 0; row < results.speed.length; row += 1) {
    const isSteady = results.isSteady(channel, cut.harmonic, row);
    const size = isSteady ? results.amplitude(channel, cut.harmonic, row) : Number.NaN;
    const angle = (results.phase(channel, cut.harmonic, row) * Math.PI) / 180;
    x.push(size * Math.cos(angle));
    y.push(size * Math.sin(angle));
  }
  return { stroke: cut.stroke, dash: cut.dash, x, y };
}
