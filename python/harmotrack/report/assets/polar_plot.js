// Amplitude and phase of order cuts in the plane, over the speed: 0 degrees to the right, rising
// counterclockwise. A resonance draws a loop.

import { number, ticks } from "./format.js";
import { colour, isPrinting, panelSize } from "./theme.js";

const FONT = '12px system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif';

export class PolarPlot {
  /** @param move  called with the row of the point that is nearest to the pointer */
  constructor(host, { move }) {
    this.host = host;
    this.cuts = [];
    this.row = 0;
    this.canvas = host.appendChild(document.createElement("canvas"));
    this.canvas.setAttribute("aria-hidden", "true");
    this.canvas.addEventListener("pointermove", (event) => {
      const row = this.#nearestRow(event);
      if (row !== null) move(row);
    });
  }

  /** @param cuts  [{ stroke, dash, x, y }]: the paths, in the channel's unit; NaN leaves a gap */
  show(cuts, unit) {
    this.cuts = cuts;
    this.unit = unit;
    this.background = null;
    this.paint();
  }

  setRow(row) {
    this.row = row;
    this.paint();
  }

  redraw() {
    this.background = null;
    this.paint();
  }

  // The paths don't change while the cursor moves: they are drawn once and kept.
  paint() {
    const { width, height } = panelSize(this.host);
    const ratio = isPrinting() ? 2 : window.devicePixelRatio || 1;
    if (!this.background || this.width !== width) this.#paintBackground(width, height, ratio);
    const context = this.canvas.getContext("2d");
    context.setTransform(1, 0, 0, 1, 0, 0);
    context.clearRect(0, 0, this.canvas.width, this.canvas.height);
    context.drawImage(this.background, 0, 0);
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    for (const cut of this.cuts) {
      const x = cut.x[this.row];
      const y = cut.y[this.row];
      if (Number.isNaN(x)) continue;
      dot(context, this.#right(x), this.#down(y), 5, cut.stroke(), colour("card"));
    }
  }

  #paintBackground(width, height, ratio) {
    this.width = width;
    this.centreX = width / 2;
    this.centreY = height / 2;
    this.radius = Math.max(20, Math.min(width, height) / 2 - 28);
    let most = 0;
    for (const { x, y } of this.cuts) {
      for (let i = 0; i < x.length; i += 1) {
        const size = Math.hypot(x[i], y[i]);
        if (size > most) most = size;
      }
    }
    this.largest = most > 0 ? most * 1.04 : 1;
    this.background = document.createElement("canvas");
    for (const canvas of [this.canvas, this.background]) {
      canvas.width = Math.round(width * ratio);
      canvas.height = Math.round(height * ratio);
    }
    this.canvas.style.width = `${width}px`;
    this.canvas.style.height = `${height}px`;
    const context = this.background.getContext("2d");
    context.scale(ratio, ratio);
    this.#paintGrid(context);
    for (const cut of this.cuts) this.#paintPath(context, cut);
  }

  #right(x) {
    return this.centreX + (x / this.largest) * this.radius;
  }

  #down(y) {
    return this.centreY - (y / this.largest) * this.radius;
  }

  #paintGrid(context) {
    context.font = FONT;
    context.strokeStyle = colour("line");
    context.fillStyle = colour("muted");
    context.textAlign = "center";
    context.textBaseline = "middle";
    for (let angle = 0; angle < 360; angle += 30) {
      const x = Math.cos((angle * Math.PI) / 180);
      const y = -Math.sin((angle * Math.PI) / 180);
      context.beginPath();
      context.moveTo(this.centreX, this.centreY);
      context.lineTo(this.centreX + x * this.radius, this.centreY + y * this.radius);
      context.stroke();
      const out = this.radius + 16;
      context.fillText(`${angle}°`, this.centreX + x * out, this.centreY + y * out);
    }
    context.textAlign = "left";
    for (const value of ticks(0, this.largest, 4).values.slice(1)) {
      const radius = (value / this.largest) * this.radius;
      context.beginPath();
      context.arc(this.centreX, this.centreY, radius, 0, 2 * Math.PI);
      context.stroke();
      const turn = Math.PI / 12;
      const text = `${number(value)} ${this.unit}`;
      context.fillText(
        text,
        this.centreX + radius * Math.cos(turn) + 2,
        this.centreY - radius * Math.sin(turn),
      );
    }
  }

  #paintPath(context, cut) {
    context.strokeStyle = cut.stroke();
    context.lineWidth = 1.5;
    context.setLineDash(cut.dash ?? []);
    context.beginPath();
    let isDown = false;
    for (let i = 0; i < cut.x.length; i += 1) {
      if (Number.isNaN(cut.x[i])) {
        isDown = false;
        continue;
      }
      const x = this.#right(cut.x[i]);
      const y = this.#down(cut.y[i]);
      if (isDown) context.lineTo(x, y);
      else context.moveTo(x, y);
      isDown = true;
    }
    context.stroke();
    context.setLineDash([]);
  }

  #nearestRow(event) {
    const box = this.canvas.getBoundingClientRect();
    const left = event.clientX - box.left;
    const top = event.clientY - box.top;
    let best = null;
    let least = 40 ** 2; // a path further away than 40 pixels is not meant
    for (const { x, y } of this.cuts) {
      for (let i = 0; i < x.length; i += 1) {
        const distance = (this.#right(x[i]) - left) ** 2 + (this.#down(y[i]) - top) ** 2;
        if (distance < least) {
          least = distance;
          best = i;
        }
      }
    }
    return best;
  }
}

function dot(context, x, y, radius, fill, stroke) {
  context.beginPath();
  context.arc(x, y, radius, 0, 2 * Math.PI);
  context.fillStyle = fill;
  context.fill();
  context.lineWidth = 2;
  context.strokeStyle = stroke;
  context.stroke();
}
