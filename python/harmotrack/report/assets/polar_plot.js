// Amplitude and phase of order cuts in the plane, over the speed: 0 degrees to the right, rising
// counterclockwise. A resonance draws a loop.

import { amount, number, ticks } from "./format.js";
import { Panel } from "./panel.js";
import { nearest } from "./scales.js";
import { colour } from "./theme.js";

const FONT = '12px system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif';
/** On the screen and on paper, of nothing but a sentence. */
const EMPTY_HEIGHTS = [250, 190];

// About so many pixels from ring to ring.
const RING_ROOM = 38;

// Rings inside this part of the largest radius are not named: there the paths begin.
const RING_LEAST = 0.35;

// Speeds stand on paths that reach this part of the largest radius, not on their parts within that
// one, nor closer to each other, in pixels.
const SPEED_CUTS = 0.5;
const SPEED_LEAST = 0.2;
const SPEED_ROOM = 34;

export class PolarPlot extends Panel {
  /** @param move  called with the row of the point that is nearest to the pointer */
  constructor(host, { move }) {
    super(host);
    this.heights = [host.dataset.height, host.dataset.printHeight];
    this.cuts = [];
    this.hasPath = false;
    this.row = 0;
    this.canvas = host.appendChild(document.createElement("canvas"));
    this.canvas.setAttribute("aria-hidden", "true");
    this.canvas.addEventListener("pointermove", (event) => {
      const row = this.#nearestRow(event);
      if (row !== null) move(row);
    });
  }

  /**
   * @param cuts   [{ stroke, dash, x, y }]: the paths, in the channel's unit; NaN leaves a gap
   * @param speed  of their points, rpm
   */
  show(cuts, speed, unit) {
    this.cuts = cuts;
    this.speed = speed;
    this.unit = unit;
    this.hasPath = cuts.some(({ x }) => x.some((value) => !Number.isNaN(value)));
    this.setHeight(...(this.hasPath ? this.heights : EMPTY_HEIGHTS));
  }

  setRow(row) {
    this.row = row;
    this.invalidate();
  }

  refresh() {
    this.background = null;
    this.invalidate();
  }

  // The paths don't change while the cursor moves: they are drawn once and kept.
  draw() {
    if (!this.background) this.#paintBackground();
    const context = this.canvas.getContext("2d");
    context.setTransform(1, 0, 0, 1, 0, 0);
    context.clearRect(0, 0, this.canvas.width, this.canvas.height);
    context.drawImage(this.background, 0, 0);
    context.setTransform(this.ratio, 0, 0, this.ratio, 0, 0);
    for (const cut of this.cuts) {
      const x = cut.x[this.row];
      const y = cut.y[this.row];
      if (Number.isNaN(x)) continue;
      dot(context, this.#right(x), this.#down(y), 5, cut.stroke(), colour("card"));
    }
  }

  #paintBackground() {
    const { width, height } = this.size;
    const { ratio } = this;
    this.centreX = width / 2;
    this.centreY = height / 2;
    this.radius = Math.max(20, Math.min(width, height) / 2 - 28);
    const most = Math.max(0, ...this.cuts.map(({ x, y }) => largestOf(x, y)));
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
    if (!this.hasPath) {
      context.font = FONT;
      context.fillStyle = colour("muted");
      context.textAlign = "center";
      const which = this.cuts.length > 0 ? "steady phase" : "phase";
      context.fillText(`None of these cuts has a ${which}.`, this.centreX, this.centreY);
      return;
    }
    this.#paintGrid(context);
    for (const cut of this.cuts) this.#paintPath(context, cut);
    this.#paintSpeeds(context);
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
    const rings = ticks(0, this.largest, this.radius / RING_ROOM).values.slice(1);
    const named = rings.filter((value) => value > RING_LEAST * this.largest);
    const turn = this.#freeTurn(named);
    for (const value of rings) {
      const radius = (value / this.largest) * this.radius;
      context.beginPath();
      context.arc(this.centreX, this.centreY, radius, 0, 2 * Math.PI);
      context.stroke();
    }
    for (const value of named) {
      const [left, top] = this.#at(value * Math.cos(turn), value * Math.sin(turn));
      context.fillText(amount(value, this.unit), left + 2, top);
    }
  }

  #at(x, y) {
    return [this.#right(x), this.#down(y)];
  }

  // The rings are named where the paths are furthest away.
  #freeTurn(rings) {
    let best = 0;
    let most = -1;
    for (let turn = Math.PI / 12; turn < 2 * Math.PI; turn += Math.PI / 6) {
      let free = Infinity;
      for (const value of rings) {
        const [left, top] = this.#at(value * Math.cos(turn), value * Math.sin(turn));
        free = Math.min(free, this.#room(left + 20, top));
      }
      if (free > most) [best, most] = [turn, free];
    }
    return best;
  }

  /** Pixels from a place to the nearest point of a path. */
  #room(left, top) {
    let least = Infinity;
    for (const { x, y } of this.cuts) {
      for (let i = 0; i < x.length; i += 1) {
        const distance = Math.hypot(this.#right(x[i]) - left, this.#down(y[i]) - top);
        if (distance < least) least = distance;
      }
    }
    return least;
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

  // Round speeds stand beside the paths.
  #paintSpeeds(context) {
    const { speed } = this;
    context.textAlign = "center";
    context.textBaseline = "middle";
    const taken = [];
    for (const { x, y, stroke } of this.cuts) {
      if (largestOf(x, y) < SPEED_CUTS * this.largest) continue;
      context.fillStyle = stroke();
      for (const rpm of ticks(speed[0], speed[speed.length - 1], 12).values) {
        const row = nearest(speed, rpm);
        const [left, top] = this.#at(x[row], y[row]);
        const isFree = taken.every((one) => Math.hypot(one[0] - left, one[1] - top) > SPEED_ROOM);
        if (!(Math.hypot(x[row], y[row]) > SPEED_LEAST * this.largest) || !isFree) continue;
        taken.push([left, top]);
        context.beginPath();
        context.arc(left, top, 2.5, 0, 2 * Math.PI);
        context.fill();
        this.#paintBeside(context, `${number(rpm)} rpm`, [left, top], across(x, y, row));
      }
    }
  }

  /** Writes a text on that side of a path that has more room. */
  #paintBeside(context, text, [left, top], [right, down]) {
    const half = context.measureText(text).width / 2;
    const [best] = [1, -1]
      .map((side) => [left + side * right * (half + 6), top + side * down * 11])
      .map(([x, y]) => ({ x, y, room: x + half < this.width ? this.#room(x, y) : -1 }))
      .sort((one, other) => other.room - one.room);
    context.fillText(text, best.x, best.y);
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

/** The largest distance of a path from the origin. */
function largestOf(x, y) {
  let most = 0;
  for (let i = 0; i < x.length; i += 1) {
    const size = Math.hypot(x[i], y[i]);
    if (size > most) most = size;
  }
  return most;
}

/** Of a path at one of its points: the unit vector across it, in directions of the page. */
function across(x, y, row) {
  const before = Number.isNaN(x[row - 1] ?? Number.NaN) ? row : row - 1;
  const after = Number.isNaN(x[row + 1] ?? Number.NaN) ? row : row + 1;
  const right = y[after] - y[before];
  const down = x[after] - x[before];
  const length = Math.hypot(right, down) || 1;
  return [right / length, down / length];
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
