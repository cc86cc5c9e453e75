// A line through points, drawn on a canvas.

import { isPrinting } from "./theme.js";

const DENSE = 1.5;

/**
 * Draws y over x. Where points stand denser than pixels, a path of all of them would take a
 * hundred times as long as what it leaves: there each column of pixels gets a bar over the values
 * that the line passes in it.
 *
 * @param curve  { x, y, stroke, width, dash }: rising x; null in y leaves a gap
 * @param scale  { x0, x1, y0, y1, width, height }: limits of the axes, and pixels of the plot
 */
export function drawCurve(context, curve, scale) {
  const { x, y } = curve;
  const across = scale.width / (scale.x1 - scale.x0);
  const down = scale.height / (scale.y1 - scale.y0);
  const xPixel = (value) => (value - scale.x0) * across;
  const yPixel = (value) => (scale.y1 - value) * down;
  let first = 0;
  while (first < x.length - 2 && x[first + 1] < scale.x0) first += 1;
  let last = x.length - 1;
  while (last > first + 1 && x[last - 1] > scale.x1) last -= 1;
  const points = {
    first,
    last,
    x: (i) => xPixel(x[i]),
    y: (i) => yPixel(y[i]),
    isGap: (i) => y[i] === null,
  };
  // Paper has finer pixels than the canvas.
  const isDense = last - first > DENSE * scale.width && !isPrinting();
  if (isDense) drawBars(context, curve, points, scale);
  else drawPath(context, curve, points);
}

function drawPath(context, { stroke, width, dash }, { first, last, x, y, isGap }) {
  context.strokeStyle = stroke;
  context.lineWidth = width;
  context.lineJoin = "round";
  context.setLineDash(dash ?? []);
  context.beginPath();
  let isDown = false;
  const alone = [];
  for (let i = first; i <= last; i += 1) {
    if (isGap(i)) isDown = false;
    else if (isDown) context.lineTo(x(i), y(i));
    else {
      if (i === last || isGap(i + 1)) alone.push(i);
      context.moveTo(x(i), y(i));
      isDown = true;
    }
  }
  context.stroke();
  context.setLineDash([]);
  context.fillStyle = stroke;
  for (const i of alone) drawDot(context, x(i), y(i), 1.5 * width);
}

// A line through one point is none.
function drawDot(context, x, y, radius) {
  context.beginPath();
  context.arc(x, y, radius, 0, 2 * Math.PI);
  context.fill();
}

function drawBars(context, { stroke, width, dash }, points, scale) {
  const { least, most } = barsOf(points, scale.width);
  const [on, off] = dash ?? [1, 0];
  context.fillStyle = stroke;
  for (let column = 0; column < scale.width; column += 1) {
    if (most[column] < least[column] || column % (on + off) >= on) continue;
    const top = Math.max(least[column] - width / 2, -width);
    const bottom = Math.min(most[column] + width / 2, scale.height + width);
    if (bottom > top) context.fillRect(column, top, 1, bottom - top);
  }
}

/** The least and the largest pixel that the line passes in each column: none where least > most. */
function barsOf({ first, last, x, y, isGap }, columns) {
  const least = new Float64Array(columns).fill(Infinity);
  const most = new Float64Array(columns).fill(-Infinity);
  const pass = (column, pixel) => {
    if (pixel < least[column]) least[column] = pixel;
    if (pixel > most[column]) most[column] = pixel;
  };
  let before = null;
  for (let i = first; i <= last; i += 1) {
    if (isGap(i)) {
      before = null;
      continue;
    }
    const here = { x: x(i), y: y(i) };
    if (before) {
      // The borders of columns that the line crosses on its way.
      const slope = (here.y - before.y) / (here.x - before.x);
      const end = Math.min(Math.floor(here.x), columns);
      for (let border = Math.max(Math.floor(before.x) + 1, 0); border <= end; border += 1) {
        const pixel = before.y + slope * (border - before.x);
        if (border > 0) pass(border - 1, pixel);
        if (border < columns) pass(border, pixel);
      }
    }
    if (here.x >= 0 && here.x < columns) pass(Math.floor(here.x), here.y);
    before = here;
  }
  return { least, most };
}
