// The three maps over speed, with the cursor, the cuts and their harmonics drawn above them.

import { number } from "./format.js";
import { MapView } from "./map_view.js";
import { cellAt } from "./scales.js";
import { colour, isPrinting } from "./theme.js";

const SPEED_LABEL = "Speed, rpm";

export function makeMaps(context, pickOrder) {
  const { results } = context;
  const speed = { values: results.speed, label: SPEED_LABEL };
  const views = {};
  views.order = new MapView(
    document.getElementById("order-map"),
    { x: { values: results.orders, label: "Order" }, y: speed },
    {
      move: (order, rpm) => context.moveToOrder(order, rpm),
      pick: pickOrder,
      cursor: () => ({ x: context.newest("order"), y: results.speed[context.newest("row")] }),
      zoom: () => context.store.set({ orderZoom: {} }),
      draw: (canvas, view) => drawOnOrders(canvas, view, context),
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
      draw: (canvas, view) => drawOnFrequencies(canvas, view, context),
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
        draw: (canvas, view) => drawOnDirections(canvas, view, context),
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
  store.listen(["maps", "isLinear", "low", "high", "colourScale"], () => show(context, views));
  store.listen(["row", "order", "frequency", "cuts", "hasHarmonicCursors"], () => {
    for (const view of Object.values(views)) view.paintOverlay();
  });
}

export function show(context, views) {
  for (const [name, view] of Object.entries(views)) {
    const map = context.maps[name];
    view.show(map, context.pixelsOf(map));
  }
}

function drawOnOrders(canvas, view, context) {
  for (const cut of context.get("cuts"))
    drawCut(canvas, view, cut, [
      [cut.order, 0],
      [cut.order, 1],
    ]);
  if (isPrinting()) return;
  for (const [index, order] of context.cursorOrders().entries()) {
    drawVertical(canvas, view, order, index > 0);
  }
  drawHorizontal(canvas, view, context.speed);
}

function drawOnDirections(canvas, view, context) {
  if (isPrinting()) return;
  for (const [index, order] of context.cursorOrders().entries()) {
    drawVertical(canvas, view, order, index > 0);
    drawVertical(canvas, view, -order, true);
  }
  drawHorizontal(canvas, view, context.speed);
}

// An order is a ray through the origin of the frequency map.
function drawOnFrequencies(canvas, view, context) {
  const { y0, y1 } = view.view;
  const ray = (order) => [
    [(order * y0) / 60, 0],
    [(order * y1) / 60, 1],
  ];
  for (const cut of context.get("cuts")) drawCut(canvas, view, cut, ray(cut.order));
  if (isPrinting()) return;
  if (context.get("hasHarmonicCursors")) {
    for (const order of context.cursorOrders()) {
      drawPath(canvas, view, ray(order), colour("cursor"), [2, 3]);
    }
  }
  drawVertical(canvas, view, context.get("frequency"), false);
  drawHorizontal(canvas, view, context.speed);
}

// Ends of a path stand as [value of x, 0 at the bottom or 1 at the top].
function drawPath(canvas, view, [[fromX, fromEnd], [toX, toEnd]], stroke, dash) {
  const { y0, y1 } = view.view;
  canvas.strokeStyle = stroke;
  canvas.lineWidth = 1;
  canvas.setLineDash(dash);
  canvas.beginPath();
  canvas.moveTo(view.xPixel(fromX), view.yPixel(fromEnd ? y1 : y0));
  canvas.lineTo(view.xPixel(toX), view.yPixel(toEnd ? y1 : y0));
  canvas.stroke();
  canvas.setLineDash([]);
}

// A cut is named at the upper border, or where its ray leaves on the right.
function drawCut(canvas, view, cut, path) {
  drawPath(canvas, view, path, colour("map-cut"), [1, 4]);
  const { x1, y1 } = view.view;
  const topX = path[1][0];
  const isInside = topX <= x1;
  const x = isInside ? view.xPixel(topX) : view.xPixel(x1);
  const y = isInside ? view.yPixel(y1) : view.yPixel((y1 * x1) / topX);
  const text = number(cut.order);
  canvas.font = '600 11px system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif';
  const width = canvas.measureText(text).width + 8;
  const left = isInside ? x - width / 2 : x - width;
  const top = isInside ? y + 1 : y - 8;
  canvas.fillStyle = cut.stroke();
  canvas.beginPath();
  canvas.roundRect(left, top, width, 16, 3);
  canvas.fill();
  canvas.fillStyle = colour("on-cut");
  canvas.textAlign = "center";
  canvas.textBaseline = "middle";
  canvas.fillText(text, left + width / 2, top + 8.5);
}

function drawVertical(canvas, view, value, isDotted) {
  const x = Math.round(view.xPixel(value)) + 0.5;
  drawLine(canvas, [x, 0], [x, view.height], isDotted);
}

function drawHorizontal(canvas, view, value) {
  const y = Math.round(view.yPixel(value)) + 0.5;
  drawLine(canvas, [0, y], [view.width, y], false);
}

// Light over dark, so that the cursor shows on every colour.
function drawLine(canvas, from, to, isDotted) {
  canvas.setLineDash(isDotted ? [2, 4] : []);
  for (const [stroke, width] of [
    ["#00000099", 3],
    ["#ffffff", 1],
  ]) {
    canvas.strokeStyle = stroke;
    canvas.lineWidth = width;
    canvas.beginPath();
    canvas.moveTo(...from);
    canvas.lineTo(...to);
    canvas.stroke();
  }
  canvas.setLineDash([]);
}

/** The level of a map under the cursor. */
export function levelAt(context, map, edges, value) {
  return map.level(context.get("row"), cellAt(edges, value));
}
