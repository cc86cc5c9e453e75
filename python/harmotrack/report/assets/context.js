// What all panels share: the results, the store, the maps of the channel, and scales of levels.

import { pixelsOfCodes } from "./colour_bar.js";
import { cellAt, cellEdges, nearest } from "./scales.js";
import { Store } from "./store.js";

const HARMONIC_CURSORS = 10;

export class Context {
  constructor(results) {
    this.results = results;
    this.speedEdges = cellEdges(results.speed);
    this.orderEdges = cellEdges(results.orders);
    this.frequencyEdges = cellEdges(results.frequencies);
    this.directionalEdges = results.directionalOrders && cellEdges(results.directionalOrders);
    this.store = new Store({
      channel: 0,
      maps: null,
      row: 0,
      order: results.orders[0],
      frequency: results.frequencies[0],
      directionalOrder: 0,
      time: results.profileTime[0] ?? 0,
      isLinear: false,
      low: 0,
      high: 0,
      colourScale: "viridis",
      cuts: [],
      hasHarmonicCursors: false,
      usesSlices: false,
    });
    this.pending = null;
  }

  get(name) {
    return this.store.get(name);
  }

  get maps() {
    return this.get("maps");
  }

  get channel() {
    return this.results.channels[this.get("channel")];
  }

  /** What a level re 1 of the unit reads on the scale in use: dB re the reference, or the unit. */
  shown(level) {
    if (this.get("isLinear")) return 10 ** (level / 20);
    return level - this.channel.referenceLevel;
  }

  shownAmplitude(amplitude, referenceLevel = this.channel.referenceLevel) {
    return this.get("isLinear") ? amplitude : 20 * Math.log10(amplitude) - referenceLevel;
  }

  scaleLabel() {
    const { unit, levelConvention } = this.channel;
    if (this.get("isLinear")) return `${unit} ${this.results.convention}`.trim();
    return `${this.shortScaleLabel()}, ${levelConvention}`;
  }

  shortScaleLabel() {
    return this.get("isLinear") ? this.channel.unit : `dB re ${this.channel.reference}`;
  }

  /** Limits of the scale in use. */
  scaleRange() {
    const high = this.get("high");
    const { referenceLevel } = this.channel;
    if (this.get("isLinear")) return [0, 1.05 * 10 ** ((high + referenceLevel) / 20)];
    return [this.get("low"), high + 0.04 * (high - this.get("low"))];
  }

  pixelsOf(map) {
    return pixelsOfCodes(map, this.#colouring(this.channel.referenceLevel));
  }

  #colouring(referenceLevel) {
    return {
      scale: this.get("colourScale"),
      isLinear: this.get("isLinear"),
      low: this.get("low") + referenceLevel,
      high: this.get("high") + referenceLevel,
    };
  }

  /** Orders of the cursor and of its multiples. */
  cursorOrders() {
    const order = this.get("order");
    const count = this.get("hasHarmonicCursors") && order > 0 ? HARMONIC_CURSORS : 1;
    return Array.from({ length: count }, (_, index) => order * (index + 1));
  }

  get speed() {
    return this.results.speed[this.get("row")];
  }

  // The cursor. Pointers move oftener than pictures are drawn: the last place of a frame counts.

  moveTo(changes) {
    if (this.pending === null) {
      requestAnimationFrame(() => {
        const last = this.pending;
        this.pending = null;
        this.store.set(last);
      });
    }
    this.pending = { ...this.pending, ...changes };
  }

  /** The newest place of the cursor, drawn or not yet. */
  newest(name) {
    return this.pending?.[name] ?? this.get(name);
  }

  /** Puts the cursor on a line of the order map, and on the frequency that it has there. */
  moveToOrder(order, rpm) {
    const { orderEdges } = this;
    const { orders, speed } = this.results;
    const row = cellAt(this.speedEdges, rpm);
    const line = orders[cellAt(orderEdges, order)];
    this.moveTo({
      ...this.#atRow(row),
      order: line,
      frequency: this.#frequencyLine((line * speed[row]) / 60),
    });
  }

  moveToFrequency(frequency, rpm) {
    const { orderEdges } = this;
    const { orders, speed } = this.results;
    const row = cellAt(this.speedEdges, rpm);
    const line = this.#frequencyLine(frequency);
    const order = speed[row] > 0 ? (60 * line) / speed[row] : 0;
    this.moveTo({
      ...this.#atRow(row),
      order: orders[cellAt(orderEdges, order)],
      frequency: line,
    });
  }

  moveToSpeed(rpm) {
    this.moveToOrder(this.newest("order"), rpm);
  }

  moveToTime(seconds) {
    const { profileTime, profileSpeed } = this.results;
    const index = nearest(profileTime, seconds);
    this.moveToSpeed(profileSpeed[index]);
    this.moveTo({ time: profileTime[index] });
  }

  #frequencyLine(frequency) {
    return this.results.frequencies[cellAt(this.frequencyEdges, frequency)];
  }

  #atRow(row) {
    const { profileTime, profileSpeed, speed } = this.results;
    if (profileTime.length === 0) return { row };
    return { row, time: profileTime[nearest(profileSpeed, speed[row])] };
  }
}
