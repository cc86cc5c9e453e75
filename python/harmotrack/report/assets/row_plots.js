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
  const update = () => {
    for (const [name, plot] of Object.entries(plots)) {
      plot.show([axes[name], rowOf(context, context.maps[name])]);
    }
  };
  const place = () => {
    plots.order.setCursor(context.get("order"));
    plots.frequency.setCursor(context.get("frequency"));
    plots.directional?.setCursor(context.get("order"));
  };
  const { store } = context;
  store.listen(
    ["maps", "row", "low", "high", "orderZoom", "frequencyZoom", "directionalZoom"],
    update,
  );
  store.listen(["order", "frequency"], place);
  store.listen(["order", "hasHarmonicCursors"], () => {
    if (context.get("hasHarmonicCursors")) update();
  });
  store.listen(["isLinear", "channel"], () => {
    for (const plot of Object.values(plots)) plot.build(plot.series);
    update();
  });
  return plots;
}

function spectrum(context, id, view, label, { move, marks }) {
  return new LinePlot(document.getElementById(id), {
    x: { label, range: () => [view.view.x0, view.view.x1] },
    y: { label: () => context.scaleLabel(), range: () => context.scaleRange() },
    series: [{ stroke: () => colour("accent"), width: 1.25 }],
    move,
    draw: (canvas, plot) => {
      if (context.get("hasHarmonicCursors")) drawMarks(canvas, plot, marks().slice(1));
    },
  });
}

function drawMarks(canvas, plot, values) {
  const { left, top, width, height } = plot.bbox;
  canvas.save();
  canvas.strokeStyle = colour("cursor");
  canvas.lineWidth = 1;
  canvas.setLineDash([3, 4]);
  for (const value of values) {
    const x = Math.round(plot.valToPos(value, "x", true)) + 0.5;
    if (x < left || x > left + width) continue;
    canvas.beginPath();
    canvas.moveTo(x, top);
    canvas.lineTo(x, top + height);
    canvas.stroke();
  }
  canvas.restore();
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
