// The three maps over speed, with the cursor, the cuts and their harmonics above them.

import { MapView } from "./map_view.js";
import { cellAt } from "./scales.js";

const SPEED_LABEL = "Speed, rpm";

export function makeMaps(context, pickOrder) {
  const { results } = context;
  const speed = { values: results.speed, label: SPEED_LABEL, step: results.speedStep };
  const views = {};
  views.order = new MapView(
    document.getElementById("order-map"),
    { x: { values: results.orders, label: "Order" }, y: speed },
    {
      move: (order, rpm) => context.moveToOrder(order, rpm),
      pick: pickOrder,
      cursor: () => ({ x: context.newest("order"), y: results.speed[context.newest("row")] }),
      zoom: () => context.store.set({ orderZoom: {} }),
      ...onOrders(context),
    },
  );
  views.frequency = new MapView(
    document.getElementById("frequency-map"),
    { x: { values: results.frequencies, label: "Frequency, Hz" }, y: speed },
    {
      move: (frequency, rpm) => context.moveToFrequency(frequency, rpm),
      pick: (frequency, rpm) => pickOrder(rpm > 0 ? (60 * frequency) / rpm : 0),
      cursor: () => ({ x: context.newest("frequency"), y: results.speed[context.newest("row")] }),
      zoom: () => context.store.set({ frequencyZoom: {} }),
      ...onFrequencies(context),
    },
  );
  if (results.directionalOrders) {
    views.directional = new MapView(
      document.getElementById("directional-map"),
      { x: { values: results.directionalOrders, label: directionalLabel() }, y: speed },
      {
        move: (order, rpm) => context.moveToOrder(Math.abs(order), rpm),
        pick: (order) => pickOrder(Math.abs(order)),
        cursor: () => ({ x: context.newest("order"), y: results.speed[context.newest("row")] }),
        zoom: () => context.store.set({ directionalZoom: {} }),
        ...onDirections(context),
      },
    );
  }
  showWhatOrdersReach(views, results);
  listen(context, views);
  return views;
}

export function directionalLabel() {
  return "Order: backward below 0, forward above";
}

// Often the frequencies go far beyond those of the highest order: at first they wait outside.
function showWhatOrdersReach({ frequency }, { orders, speed }) {
  const reach = (1.05 * orders[orders.length - 1] * speed[speed.length - 1]) / 60;
  frequency.view.x1 = Math.min(frequency.view.x1, reach);
}

function listen(context, views) {
  const { store } = context;
  const all = Object.entries(views);
  store.listen(["maps", "isLinear", "low", "high", "colourScale"], () => {
    for (const [name, view] of all) {
      view.show(context.maps[name], () => context.pixelsOf(context.maps[name]));
    }
  });
  store.listen(["cuts"], () => {
    for (const [, view] of all) view.showCuts();
  });
  store.listen(["row", "order", "frequency", "hasHarmonicCursors"], () => {
    for (const [, view] of all) view.showCursor();
  });
}

function onOrders(context) {
  return {
    cuts: (view) => namedCuts(context, (order) => view.line(order, order)),
    cursorLines: (view) =>
      context.cursorOrders().map((order, index) => view.line(order, order, index > 0)),
    speed: () => context.speed,
  };
}

function onDirections(context) {
  return {
    cursorLines: (view) =>
      context
        .cursorOrders()
        .flatMap((order, index) => [
          view.line(order, order, index > 0),
          view.line(-order, -order, true),
        ]),
    speed: () => context.speed,
  };
}

// An order is a ray through the origin of the frequency map.
function onFrequencies(context) {
  const ray = (view, order, isDotted) => {
    const { y0, y1 } = view.view;
    return view.line((order * y0) / 60, (order * y1) / 60, isDotted);
  };
  return {
    cuts: (view) => namedCuts(context, (order) => ray(view, order)),
    cursorLines: (view) => {
      const frequency = context.get("frequency");
      const rays = context.get("hasHarmonicCursors") ? context.cursorOrders() : [];
      return [
        view.line(frequency, frequency, false),
        ...rays.map((order) => ray(view, order, true)),
      ];
    },
    speed: () => context.speed,
  };
}

function namedCuts(context, line) {
  return context
    .get("cuts")
    .map(({ order, stroke }) => ({ order, stroke: stroke(), line: line(order) }));
}

/** The level of a map under the cursor. */
export function levelAt(context, map, edges, value) {
  return map.level(context.get("row"), cellAt(edges, value));
}
