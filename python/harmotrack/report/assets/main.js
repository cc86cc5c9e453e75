// Brings the page to life: unpacks the results, makes the panels, ties them together.

import { Context } from "./context.js";
import { makeControls } from "./controls.js";
import { makeCurves } from "./curves.js";
import { makeCutTable } from "./cut_table.js";
import { freeNumber, makeCut } from "./cuts.js";
import { makeMaps } from "./maps.js";
import { refreshAll, watchPanels } from "./panel.js";
import { makeReadout } from "./readout.js";
import { Results } from "./results.js";
import { makeSpectra } from "./row_plots.js";
import { onThemeChange, watchTheme } from "./theme.js";

const LARGEST_SPAN_DB = 80;

async function start() {
  const results = new Results(JSON.parse(document.getElementById("analysis").textContent));
  const context = new Context(results);
  const { store } = context;
  const toggle = (order) => toggleCut(context, order);
  const views = makeMaps(context, toggle);
  const maps = await results.load(0);
  makeSpectra(context, views);
  makeCurves(context, views);
  makeReadout(context, (cut) =>
    store.set({ cuts: context.get("cuts").filter((one) => one !== cut) }),
  );
  makeCutTable(context);
  makeControls(context, {
    chooseChannel: (channel) => showChannel(context, channel),
    addOrder: (order) => addCut(context, order),
    zoomOut: () => {
      for (const view of Object.values(views)) view.zoomOut();
    },
  });
  const cuts = results.shownCuts.map((index, number) =>
    makeCut(results, results.harmonicOrders[index], number),
  );
  store.set({ maps, cuts, ...rangeOf(context, maps.order) });
  placeCursor(context);

  onThemeChange(refreshAll);
  watchTheme();
  watchPanels();
  document.documentElement.dataset.ready = "yes";
}

async function showChannel(context, channel) {
  const maps = await context.results.load(channel);
  const { referenceLevel } = context.results.channels[channel];
  context.store.set({ channel, maps, ...rangeOfMap(maps.order, referenceLevel) });
}

// From a little below the noise up to the highest level, on round figures.
function rangeOf(context, map) {
  return rangeOfMap(map, context.channel.referenceLevel);
}

function rangeOfMap(map, referenceLevel) {
  const high = Math.ceil((map.top - referenceLevel) / 5) * 5;
  const floor = Math.floor((map.floor - 6 - referenceLevel) / 5) * 5;
  return { high, low: Math.max(Math.min(floor, high - 20), high - LARGEST_SPAN_DB) };
}

/** Begins where the strongest order is largest. */
function placeCursor(context) {
  const { order, rpm } = context.results.start;
  context.moveToOrder(order, rpm);
}

function addCut(context, order) {
  const cuts = context.get("cuts");
  const cut = makeCut(context.results, order, freeNumber(cuts));
  if (!cuts.some((known) => known.order === cut.order)) context.store.set({ cuts: [...cuts, cut] });
}

function toggleCut(context, order) {
  const { results } = context;
  const line = results.orders.reduce((best, value) =>
    Math.abs(value - order) < Math.abs(best - order) ? value : best,
  );
  const wanted = makeCut(results, line, 0).order;
  const cuts = context.get("cuts");
  const without = cuts.filter((cut) => cut.order !== wanted);
  if (without.length < cuts.length) context.store.set({ cuts: without });
  else addCut(context, line);
}

start();
