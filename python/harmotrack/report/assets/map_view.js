// A colour map over two axes, on a canvas, with a second canvas for the cursor above it.
//
// Where several cells fall into a pixel the largest shows, so that an order one line wide is not
// lost among two thousand. Moving, clicking, dragging and the keyboard are reported in values of
// the axes; what they mean is the page's business.

import { ticks } from "./format.js";
import { cellAt, cellEdges, cellsOfPixels } from "./scales.js";
import { colour, isPrinting, panelSize } from "./theme.js";

const MARGIN = { left: 58, right: 16, top: 8, bottom: 42 };
const CLICK_SLACK = 5;
const FONT = '12px system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif';

export class MapView {
  /**
   * @param host     element that the map fills in width; its data-height is the height
   * @param x, y     { values, label }: the axes, y upwards
   * @param actions  { move(x, y), pick(x, y), zoom(view), draw(context, view) }
   */
  constructor(host, { x, y }, actions) {
    this.host = host;
    this.x = x;
    this.y = y;
    this.xEdges = cellEdges(x.values);
    this.yEdges = cellEdges(y.values);
    this.actions = actions;
    this.map = null;
    this.pixels = null;
    this.resetView();
    this.base = host.appendChild(document.createElement("canvas"));
    this.overlay = host.appendChild(document.createElement("canvas"));
    this.overlay.className = "overlay";
    this.cells = document.createElement("canvas");
    for (const canvas of [this.base, this.overlay]) canvas.setAttribute("aria-hidden", "true");
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
    this.paint();
  }

  /** Takes a map and the colour of every code, and draws both. */
  show(map, pixels) {
    this.map = map;
    this.pixels = pixels;
    this.paint();
  }

  xPixel(value) {
    const { x0, x1 } = this.view;
    return MARGIN.left + ((value - x0) / (x1 - x0)) * this.plotWidth;
  }

  yPixel(value) {
    const { y0, y1 } = this.view;
    return MARGIN.top + ((y1 - value) / (y1 - y0)) * this.plotHeight;
  }

  paint() {
    if (!this.map) return;
    this.#fit();
    const context = this.base.getContext("2d");
    context.setTransform(1, 0, 0, 1, 0, 0);
    context.clearRect(0, 0, this.base.width, this.base.height);
    this.#paintCells(context);
    context.setTransform(this.ratio, 0, 0, this.ratio, 0, 0);
    this.#paintAxes(context);
    this.paintOverlay();
  }

  paintOverlay() {
    if (!this.map) return;
    const context = this.overlay.getContext("2d");
    context.setTransform(this.ratio, 0, 0, this.ratio, 0, 0);
    context.clearRect(0, 0, this.width, this.height);
    this.#paintAbove(context);
    if (isPrinting()) {
      // On paper clearRect() is white paint, and the overlay would hide the map.
      const below = this.base.getContext("2d");
      below.setTransform(this.ratio, 0, 0, this.ratio, 0, 0);
      this.#paintAbove(below);
    }
  }

  #paintAbove(context) {
    context.save();
    context.beginPath();
    context.rect(MARGIN.left, MARGIN.top, this.plotWidth, this.plotHeight);
    context.clip();
    this.actions.draw(context, this);
    if (this.drag?.isFrame) this.#paintFrame(context);
    context.restore();
  }

  get plotWidth() {
    return this.width - MARGIN.left - MARGIN.right;
  }

  get plotHeight() {
    return this.height - MARGIN.top - MARGIN.bottom;
  }

  #fit() {
    ({ width: this.width, height: this.height } = panelSize(this.host));
    this.ratio = isPrinting() ? 2 : window.devicePixelRatio || 1;
    for (const canvas of [this.base, this.overlay]) {
      const width = Math.round(this.width * this.ratio);
      const height = Math.round(this.height * this.ratio);
      if (canvas.width !== width) canvas.width = width;
      if (canvas.height !== height) canvas.height = height;
      canvas.style.width = `${this.width}px`;
      canvas.style.height = `${this.height}px`;
    }
    this.host.style.height = `${this.height}px`;
  }

  #paintCells(context) {
    const { x0, x1, y0, y1 } = this.view;
    const width = Math.max(1, Math.round(this.plotWidth * this.ratio));
    const height = Math.max(1, Math.round(this.plotHeight * this.ratio));
    const image = context.createImageData(width, height);
    const pixels = new Uint32Array(image.data.buffer);
    const across = cellsOfPixels(this.xEdges, x0, x1, width);
    const down = cellsOfPixels(this.yEdges, y1, y0, height);
    const largest = new Uint16Array(width);
    for (let row = 0; row < height; row += 1) {
      const start = row * width;
      if (row > 0 && down.from[row] === down.from[row - 1] && down.to[row] === down.to[row - 1]) {
        pixels.copyWithin(start, start - width, start);
        continue;
      }
      this.#largestCodes(largest, across, down.from[row], down.to[row]);
      for (let i = 0; i < width; i += 1) pixels[start + i] = this.pixels[largest[i]];
    }
    this.cells.width = width;
    this.cells.height = height;
    this.cells.getContext("2d").putImageData(image, 0, 0);
    const left = Math.round(MARGIN.left * this.ratio);
    context.drawImage(this.cells, left, Math.round(MARGIN.top * this.ratio));
  }

  #largestCodes(largest, { from, to }, firstRow, endRow) {
    const { codes, columns } = this.map;
    largest.fill(0);
    for (let row = firstRow; row < endRow; row += 1) {
      const base = row * columns;
      for (let i = 0; i < largest.length; i += 1) {
        let most = largest[i];
        for (let cell = base + from[i]; cell < base + to[i]; cell += 1) {
          if (codes[cell] > most) most = codes[cell];
        }
        largest[i] = most;
      }
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
      line(context, x, bottom, x, bottom + 4);
      context.fillText(value.toFixed(across.decimals), x, bottom + 7);
    }
    context.textAlign = "right";
    context.textBaseline = "middle";
    const up = ticks(this.view.y0, this.view.y1, this.plotHeight / 45);
    for (const value of up.values) {
      const y = Math.round(this.yPixel(value)) + 0.5;
      line(context, MARGIN.left - 4, y, MARGIN.left, y);
      context.fillText(value.toFixed(up.decimals), MARGIN.left - 7, y);
    }
    context.fillStyle = colour("ink");
    context.textAlign = "center";
    context.textBaseline = "alphabetic";
    context.fillText(this.x.label, MARGIN.left + this.plotWidth / 2, this.height - 5);
    context.save();
    context.translate(12, MARGIN.top + this.plotHeight / 2);
    context.rotate(-Math.PI / 2);
    context.fillText(this.y.label, 0, 0);
    context.restore();
  }

  #paintFrame(context) {
    const { startX, startY, x, y } = this.drag;
    context.strokeStyle = colour("cursor");
    context.fillStyle = colour("frame");
    context.fillRect(startX, startY, x - startX, y - startY);
    context.strokeRect(startX, startY, x - startX, y - startY);
  }

  #valuesAt(event) {
    const box = this.overlay.getBoundingClientRect();
    const x = event.clientX - box.left;
    const y = event.clientY - box.top;
    const { x0, x1, y0, y1 } = this.view;
    const across = Math.min(Math.max((x - MARGIN.left) / this.plotWidth, 0), 1);
    const down = Math.min(Math.max((y - MARGIN.top) / this.plotHeight, 0), 1);
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
      this.paintOverlay();
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
    this.paint();
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

function line(context, x1, y1, x2, y2) {
  context.beginPath();
  context.moveTo(x1, y1);
  context.lineTo(x2, y2);
  context.stroke();
}
