// A line through points, drawn on a canvas.

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
  if (last - first > DENSE * scale.width) drawBars(context, curve, points, scale);
  else drawPath(context, curve, points);
}

function drawPath(context, { stroke, width, dash }, { first, last, x, y, isGap }) {
  context.strokeStyle = stroke;
  context.lineWidth = width;
  context.lineJoin = "round";
  context.setLineDash(dash ?? []);
  context.beginPath();
  let isDown = false;
  for (let i = first; i <= last; i += 1) {
    if (isGap(i)) isDown = false;
    else if (isDown) context.lineTo(x(i), y(i));
    else {
      context.moveTo(x(i), y(i));
      isDown = true;
    }
  }
  context.stroke();
  context.setLineDash([]);
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
  let before = -1;
  for (let i = first; i <= last; i += 1) {
    if (isGap(i)) {
      before = -1;
      continue;
    }
    const column = Math.min(Math.max(Math.floor(x(i)), 0), columns - 1);
    const here = y(i);
    // From a column to the next one the line goes on.
    const from = before < 0 ? here : y(before);
    const start = before < 0 ? column : Math.min(Math.floor(x(before)) + 1, column);
    for (let one = Math.max(start, 0); one <= column; one += 1) {
      least[one] = Math.min(least[one], here, from);
      most[one] = Math.max(most[one], here, from);
    }
    before = i;
  }
  return { least, most };
}
