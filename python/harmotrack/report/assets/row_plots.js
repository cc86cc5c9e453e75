// The rows of the maps at the speed of the cursor.

import { LinePlot } from "./line_plot.js";
import { directionalLabel } from "./maps.js";
import { colour } from "./theme.js";

export function makeSpectra(context, views) {
  const { results } = context;
  const plots = {
    order: spectrum(context, "order-spectrum", views.order, "Order", {
      move: (order) => context.moveToOrder(order, context.speed),
      marks: () => context.cursorOrders(),
    }),
    frequency: spectrum(context, "frequency-spectrum", views.frequency, "Frequency, Hz", {
      move: (frequency) => context.moveToFrequency(frequency, context.speed),
      marks: () => context.cursorOrders().map((order) => (order * context.speed) / 60),
    }),
  };
  if (views.directional) {
    plots.directional = spectrum(
      context,
      "directional-spectrum",
      views.directional,
      directionalLabel(),
      {
        move: (order) => context.moveToOrder(Math.abs(order), context.speed),
        marks: () => [0],
      },
    );
  }
  const axes = {
    order: results.orders,
    frequency: results.frequencies,
    directional: results.directionalOrders,
  };
  for (const [name, plot] of Object.entries(plots)) {
    plot.fixedValues = () => [axes[name]];
    plot.movingValues = () => [rowOf(context, context.maps[name])];
  }
  const all = Object.values(plots);
  const { store } = context;
  store.listen(["row"], () => {
    for (const plot of all) plot.showMoving();
  });
  store.listen(
    ["maps", "low", "high", "hasHarmonicCursors", "orderZoom", "frequencyZoom", "directionalZoom"],
    () => {
      for (const plot of all) plot.show();
    },
  );
  store.listen(["order", "frequency"], () => {
    plots.order.setCursor(context.get("order"));
    plots.frequency.setCursor(context.get("frequency"));
    plots.directional?.setCursor(context.get("order"));
    if (!context.get("hasHarmonicCursors")) return;
    for (const plot of all) plot.showMoving();
  });
  store.listen(["isLinear", "channel"], () => {
    for (const plot of all) plot.build();
  });
}

function spectrum(context, id, view, label, { move, marks }) {
  return new LinePlot(document.getElementById(id), {
    x: { label, range: () => [view.view.x0, view.view.x1] },
    y: { label: () => context.shortScaleLabel(), range: () => context.scaleRange() },
    moving: [{ stroke: () => colour("accent"), width: 1.25 }],
    move,
    marks: () => (context.get("hasHarmonicCursors") ? marks().slice(1) : []),
  });
}

// A silent line is drawn far below the plot.
function rowOf(context, map) {
  const row = context.get("row");
  if (!map.isMeasured(row)) return new Array(map.columns).fill(null);
  const values = new Float64Array(map.columns);
  for (let column = 0; column < map.columns; column += 1) {
    values[column] = context.shown(Math.max(map.level(row, column), -2000));
  }
  return values;
}
