// Axes of cells: each value of an axis owns the interval to the midpoints with its neighbours.

/** Borders of the cells, one more than there are values; a single one is `width` wide. */
export function cellEdges(values, width = 1) {
  const count = values.length;
  const edges = new Float64Array(count + 1);
  if (count === 1) {
    edges.set([values[0] - 0.5 * width, values[0] + 0.5 * width]);
    return edges;
  }
  for (let i = 1; i < count; i += 1) edges[i] = 0.5 * (values[i - 1] + values[i]);
  edges[0] = 2 * values[0] - edges[1];
  edges[count] = 2 * values[count - 1] - edges[count - 1];
  return edges;
}

/** The cell that a value falls into; the first or last one for values outside. */
export function cellAt(edges, value) {
  let low = 0;
  let high = edges.length - 2;
  while (low < high) {
    const middle = (low + high + 1) >> 1;
    if (edges[middle] <= value) low = middle;
    else high = middle - 1;
  }
  return low;
}

/** Index of the value that is nearest to a target, in values of any order. */
export function nearest(values, target) {
  let best = 0;
  for (let i = 1; i < values.length; i += 1) {
    if (Math.abs(values[i] - target) < Math.abs(values[best] - target)) best = i;
  }
  return best;
}

/** For each pixel of a line, the cells [from, to) that fall into it: one at least. */
export function cellsOfPixels(edges, start, stop, pixels) {
  const from = new Int32Array(pixels);
  const to = new Int32Array(pixels);
  const step = (stop - start) / pixels;
  for (let i = 0; i < pixels; i += 1) {
    const a = cellAt(edges, start + i * step + 1e-9 * step);
    const b = cellAt(edges, start + (i + 1) * step + 1e-9 * step);
    const low = Math.min(a, b);
    from[i] = low;
    to[i] = Math.max(low + 1, Math.max(a, b));
  }
  return { from, to };
}
