// A colour map over two axes, on a canvas. The cursor above it is made of elements with layers of
// their own: a move shifts them, and no pixel of the map is drawn again.
//
// Where several cells fall into a pixel the largest shows, so that an order one line wide is not
// lost among two thousand. Moving, clicking, dragging and the keyboard are reported in values of
// the axes; what they mean is the page's business.

import { number, ticks } from "./format.js";
import { Panel } from "./panel.js";
import { cellAt, cellEdges, cellsOfPixels } from "./scales.js";
import { colour } from "./theme.js";

const MARGIN = { left: 58, right: 16, top: 8, bottom: 42 };
const CLICK_SLACK = 5;
const FONT = '12px system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif';
const NAME_HEIGHT = 16;
const NAME_ROOM = 18;

export class MapView extends Panel {
  #hasNewCells = true;
  #hasNewCuts = true;

  /**
   * @param host     see Panel
   * @param x, y     { values, label, step }: the axes, y upwards; the step if there is one value
   * @param actions  { move(x, y), pick(x, y), zoom(view): what the reader does;
   *                   cursor(): its { x, y };
   *                   cuts(view), if any: [{ order, stroke, line }], the named lines on the map;
   *                   cursorLines(view): [line] of the cursor and its multiples, dotted or not;
   *                   speed(): where the line across stands }
   *                 A line leads from the lower to the upper border: see line().
   */
  constructor(host, { x, y }, actions) {
    super(host);
    this.x = x;
    this.y = y;
    this.xEdges = cellEdges(x.values);
    this.yEdges = cellEdges(y.values, y.step);
    this.actions = actions;
    this.top = MARGIN.top + (actions.cuts ? NAME_ROOM : 0);
    this.map = null;
    this.resetView();
    this.base = append(host, "canvas", "base");
    this.overlay = append(host, "div", "overlay");
    this.marks = append(this.overlay, "div", "marks");
    this.across = append(this.marks, "div", "line across");
    this.lines = [];
    for (const element of [this.base, this.overlay]) element.setAttribute("aria-hidden", "true");
    this.#listen();
  }

  resetView() {
    this.view = {
      x0: this.xEdges[0],
      x1: this.xEdges[this.xEdges.length - 1],
      y0: this.yEdges[0],
      y1: this.yEdges[this.yEdges.length - 1],
    };
  }

  setView(view) {
    const minX = 4 * (this.xEdges[1] - this.xEdges[0]);
    const minY = 4 * (this.yEdges[1] - this.yEdges[0]);
    this.resetView();
    const whole = this.view;
    const x0 = Math.max(whole.x0, Math.min(view.x0, whole.x1 - minX));
    const y0 = Math.max(whole.y0, Math.min(view.y0, whole.y1 - minY));
    this.view = {
      x0,
      y0,
      x1: Math.min(whole.x1, Math.max(view.x1, x0 + minX)),
      y1: Math.min(whole.y1, Math.max(view.y1, y0 + minY)),
    };
    this.actions.zoom(this.view);
    this.refresh();
  }

  /** Takes a map, and a function that gives the colour of every code. */
  show(map, pixels) {
    this.map = map;
    this.pixels = pixels;
    this.refresh();
  }

  showCuts() {
    this.#hasNewCuts = true;
    this.invalidate();
  }

  showCursor() {
    this.invalidate();
  }

  refresh() {
    this.#hasNewCells = true;
    this.#hasNewCuts = true;
    this.invalidate();
  }

  xPixel(value) {
    const { x0, x1 } = this.view;
    return MARGIN.left + ((value - x0) / (x1 - x0)) * this.plotWidth;
  }

  yPixel(value) {
    const { y0, y1 } = this.view;
    return this.top + ((y1 - value) / (y1 - y0)) * this.plotHeight;
  }

  /** The line between two values of x: pixels from the left of the plot, at both borders. */
  line(bottomX, topX, isDotted) {
    return {
      bottom: this.xPixel(bottomX) - MARGIN.left,
      top: this.xPixel(topX) - MARGIN.left,
      isDotted,
    };
  }

  draw() {
    if (!this.map) return;
    if (this.#hasNewCells) {
      this.#fit();
      this.#paintCells();
    }
    if (this.#hasNewCuts) this.#paint();
    this.#hasNewCells = false;
    this.#hasNewCuts = false;
    this.#placeCursor();
    this.#placeFrame();
  }

  #paint() {
    const context = this.base.getContext("2d");
    context.setTransform(1, 0, 0, 1, 0, 0);
    context.clearRect(0, 0, this.base.width, this.base.height);
    const left = Math.round(MARGIN.left * this.ratio);
    context.putImageData(this.cells, left, Math.round(this.top * this.ratio));
    context.setTransform(this.ratio, 0, 0, this.ratio, 0, 0);
    this.#paintAxes(context);
    if (this.actions.cuts) this.#paintCuts(context);
  }

  get plotWidth() {
    return this.width - MARGIN.left - MARGIN.right;
  }

  get plotHeight() {
    return this.height - this.top - MARGIN.bottom;
  }

  #fit() {
    const { width, height } = this.size;
    Object.assign(this, { width, height });
    const { base, marks } = this;
    base.width = Math.round(width * this.ratio);
    base.height = Math.round(height * this.ratio);
    place(base, 0, 0, width, height);
    place(marks, MARGIN.left, this.top, this.plotWidth, this.plotHeight);
  }

  #paintCells() {
    const { x0, x1, y0, y1 } = this.view;
    const width = Math.max(1, Math.round(this.plotWidth * this.ratio));
    const height = Math.max(1, Math.round(this.plotHeight * this.ratio));
    const colours = this.pixels();
    this.cells = new ImageData(width, height);
    const pixels = new Uint32Array(this.cells.data.buffer);
    const across = cellsOfPixels(this.xEdges, x0, x1, width);
    const down = cellsOfPixels(this.yEdges, y1, y0, height);
    const largest = new Uint16Array(this.map.columns);
    for (let row = 0; row < height; row += 1) {
      const start = row * width;
      if (row > 0 && down.from[row] === down.from[row - 1] && down.to[row] === down.to[row - 1]) {
        pixels.copyWithin(start, start - width, start);
        continue;
      }
      largestOfRows(largest, this.map, down.from[row], down.to[row]);
      colourPixels(pixels, start, largest, across, colours);
    }
  }

  #paintAxes(context) {
    const bottom = this.height - MARGIN.bottom;
    context.font = FONT;
    context.fillStyle = colour("muted");
    context.strokeStyle = colour("muted");
    context.lineWidth = 1;
    context.textBaseline = "top";
    context.textAlign = "center";
    const across = ticks(this.view.x0, this.view.x1, this.plotWidth / 75);
    for (const value of across.values) {
      const x = Math.round(this.xPixel(value)) + 0.5;
      drawLine(context, x, bottom, x, bottom + 4);
      context.fillText(value.toFixed(across.decimals), x, bottom + 7);
    }
    context.textAlign = "right";
    context.textBaseline = "middle";
    const up = ticks(this.view.y0, this.view.y1, this.plotHeight / 45);
    for (const value of up.values) {
      const y = Math.round(this.yPixel(value)) + 0.5;
      drawLine(context, MARGIN.left - 4, y, MARGIN.left, y);
      context.fillText(value.toFixed(up.decimals), MARGIN.left - 7, y);
    }
    context.fillStyle = colour("ink");
    context.textAlign = "center";
    context.textBaseline = "alphabetic";
    context.fillText(this.x.label, MARGIN.left + this.plotWidth / 2, this.height - 5);
    context.save();
    context.translate(12, this.top + this.plotHeight / 2);
    context.rotate(-Math.PI / 2);
    context.fillText(this.y.label, 0, 0);
    context.restore();
  }

  #paintCuts(context) {
    const cuts = this.actions.cuts(this);
    context.save();
    context.beginPath();
    context.rect(MARGIN.left, this.top, this.plotWidth, this.plotHeight);
    context.clip();
    context.strokeStyle = colour("map-cut");
    context.setLineDash([1, 4]);
    for (const { line } of cuts) {
      const bottom = this.top + this.plotHeight;
      drawLine(context, MARGIN.left + line.bottom, bottom, MARGIN.left + line.top, this.top);
    }
    context.restore();
    this.#paintNames(context, cuts);
  }

  // A cut is named above its line. One whose line leaves on the right is named there, and one whose
  // name would cover another one's a little further to the right.
  #paintNames(context, cuts) {
    context.font = '600 11px system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif';
    context.textAlign = "center";
    context.textBaseline = "middle";
    let free = 0;
    for (const { order, stroke, line } of [...cuts].sort((a, b) => a.line.top - b.line.top)) {
      const text = number(order);
      const width = context.measureText(text).width + 8;
      const isInside = line.top <= this.plotWidth;
      const x = Math.min(line.top, this.plotWidth);
      if (x < 0 || Math.min(line.bottom, line.top) > this.plotWidth) continue;
      const y = isInside ? 0 : ((line.top - x) / (line.top - line.bottom)) * this.plotHeight;
      const left = isInside ? Math.max(MARGIN.left + x - width / 2, free) : MARGIN.left + x - width;
      const top = isInside ? this.top - NAME_HEIGHT - 4 : this.top + y - NAME_HEIGHT / 2;
      if (isInside) free = left + width + 2;
      context.fillStyle = stroke;
      context.beginPath();
      context.roundRect(left, top, width, NAME_HEIGHT, 3);
      context.fill();
      context.fillStyle = colour("on-cut");
      context.fillText(text, left + width / 2, top + NAME_HEIGHT / 2 + 0.5);
    }
  }

  #placeCursor() {
    const lines = this.actions.cursorLines(this);
    while (this.lines.length < lines.length) {
      this.lines.push(append(this.marks, "div", "line hung"));
    }
    for (const [index, element] of this.lines.entries()) {
      const one = lines[index];
      if (element.hidden === Boolean(one)) element.hidden = !one;
      if (!one) continue;
      element.classList.toggle("dotted", one.isDotted);
      element.style.transform = this.#hung(one);
    }
    const y = Math.round(this.yPixel(this.actions.speed()) - this.top) - 1;
    this.across.style.transform = `translateY(${y}px)`;
  }

  // The element, longer than any plot, hangs from a point. One that leans is turned so that it
  // leads from where the line enters the plot, below or on the left, to where it leaves.
  #hung({ bottom, top }) {
    const across = top - bottom;
    if (across === 0) return `matrix(1, 0, 0, 1, ${Math.round(bottom)}, 0)`;
    const up = this.plotHeight;
    const entry = bottom < 0 && across > 0 ? -bottom / across : 0;
    const length = Math.hypot(across, up);
    const [c, d] = [across / length, -up / length];
    // The middle of an element is half a pixel to the right of where it hangs.
    const x = bottom + entry * across - 0.5;
    return `matrix(${d}, ${-c}, ${c}, ${d}, ${x}, ${(1 - entry) * up})`;
  }

  #placeFrame() {
    if (!this.drag?.isFrame) {
      this.frame?.remove();
      this.frame = null;
      return;
    }
    this.frame ??= append(this.marks, "div", "frame");
    const { startX, startY, x, y } = this.drag;
    place(
      this.frame,
      Math.min(startX, x) - MARGIN.left,
      Math.min(startY, y) - this.top,
      Math.abs(x - startX),
      Math.abs(y - startY),
    );
  }

  #valuesAt(event) {
    const box = this.overlay.getBoundingClientRect();
    const x = event.clientX - box.left;
    const y = event.clientY - box.top;
    const { x0, x1, y0, y1 } = this.view;
    const across = Math.min(Math.max((x - MARGIN.left) / this.plotWidth, 0), 1);
    const down = Math.min(Math.max((y - this.top) / this.plotHeight, 0), 1);
    return { x, y, xValue: x0 + across * (x1 - x0), yValue: y1 - down * (y1 - y0) };
  }

  #listen() {
    const { overlay } = this;
    overlay.addEventListener("pointerdown", (event) => {
      if (event.button !== 0) return;
      const at = this.#valuesAt(event);
      this.drag = { startX: at.x, startY: at.y, from: at, x: at.x, y: at.y, isFrame: false };
      this.actions.move(at.xValue, at.yValue);
    });
    overlay.addEventListener("pointermove", (event) => this.#moved(this.#valuesAt(event)));
    overlay.addEventListener("pointerup", (event) => this.#released(this.#valuesAt(event)));
    overlay.addEventListener("pointerleave", () => {
      this.drag = null;
      this.invalidate();
    });
    overlay.addEventListener("dblclick", () => this.zoomOut());
    this.host.addEventListener("keydown", (event) => this.#pressed(event));
  }

  #moved(at) {
    if (this.drag) {
      Object.assign(this.drag, { x: at.x, y: at.y });
      this.drag.isFrame ||=
        Math.hypot(at.x - this.drag.startX, at.y - this.drag.startY) > CLICK_SLACK;
    }
    this.actions.move(at.xValue, at.yValue);
  }

  #released(at) {
    const { drag } = this;
    this.drag = null;
    if (!drag) return;
    if (!drag.isFrame) {
      this.actions.pick(at.xValue, at.yValue);
      return;
    }
    this.setView({
      x0: Math.min(drag.from.xValue, at.xValue),
      x1: Math.max(drag.from.xValue, at.xValue),
      y0: Math.min(drag.from.yValue, at.yValue),
      y1: Math.max(drag.from.yValue, at.yValue),
    });
  }

  zoomOut() {
    this.resetView();
    this.actions.zoom(this.view);
    this.refresh();
  }

  #zoomBy(factor) {
    const { x, y } = this.actions.cursor();
    const { x0, x1, y0, y1 } = this.view;
    this.setView({
      x0: x - (x - x0) * factor,
      x1: x + (x1 - x) * factor,
      y0: y - (y - y0) * factor,
      y1: y + (y1 - y) * factor,
    });
  }

  #pressed(event) {
    const { x, y } = this.actions.cursor();
    const column = cellAt(this.xEdges, x);
    const row = cellAt(this.yEdges, y);
    const far = event.shiftKey ? 10 : 1;
    const moves = {
      ArrowLeft: [-far, 0],
      ArrowRight: [far, 0],
      ArrowUp: [0, far],
      ArrowDown: [0, -far],
      PageUp: [0, 10],
      PageDown: [0, -10],
      Home: [-column, 0],
      End: [this.x.values.length, 0],
    };
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    if (moves[event.key]) {
      const [across, up] = moves[event.key];
      this.actions.move(
        this.x.values[clamp(column + across, this.x.values.length)],
        this.y.values[clamp(row + up, this.y.values.length)],
      );
    } else if (event.key === "Enter" || event.key === " ") this.actions.pick(x, y);
    else if (event.key === "+") this.#zoomBy(0.5);
    else if (event.key === "-") this.#zoomBy(2);
    else if (event.key === "0" || event.key === "Escape") this.zoomOut();
    else return;
    event.preventDefault();
  }
}

function clamp(index, count) {
  return Math.min(Math.max(index, 0), count - 1);
}

/** The largest code of each column, in rows of a map. */
function largestOfRows(largest, { codes, columns }, firstRow, endRow) {
  largest.fill(0);
  for (let row = firstRow; row < endRow; row += 1) {
    const base = row * columns;
    for (let column = 0; column < columns; column += 1) {
      largest[column] = Math.max(largest[column], codes[base + column]);
    }
  }
}

/** A row of pixels, each with the colour of the largest code of its columns. */
function colourPixels(pixels, start, codes, { from, to }, colours) {
  for (let i = 0; i < from.length; i += 1) {
    let most = 0;
    for (let column = from[i]; column < to[i]; column += 1) most = Math.max(most, codes[column]);
    pixels[start + i] = colours[most];
  }
}

function append(parent, tag, className) {
  const element = parent.appendChild(document.createElement(tag));
  element.className = className;
  return element;
}

function place(element, left, top, width, height) {
  Object.assign(element.style, {
    left: `${left}px`,
    top: `${top}px`,
    width: `${width}px`,
    height: `${height}px`,
  });
}

function drawLine(context, x1, y1, x2, y2) {
  context.beginPath();
  context.moveTo(x1, y1);
  context.lineTo(x2, y2);
  context.stroke();
}
