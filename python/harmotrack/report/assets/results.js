// The results of the analysis as the page holds them.

import { decodeArray, decodeLevels } from "./payload.js";

export class Results {
  constructor(description) {
    const arrays = description.arrays;
    Object.assign(this, description);
    this.speed = decodeArray(arrays.speed);
    this.orders = decodeArray(arrays.orders);
    this.frequencies = decodeArray(arrays.frequencies);
    this.harmonicOrders = decodeArray(arrays.harmonicOrders);
    this.amplitudes = decodeArray(arrays.amplitudes);
    this.phases = decodeArray(arrays.phases);
    this.coherences = decodeArray(arrays.coherence);
    this.slices = decodeArray(arrays.slices);
    this.overallLevels = decodeArray(arrays.overall);
    this.profileTime = decodeArray(arrays.profileTime);
    this.profileSpeed = decodeArray(arrays.profileSpeed);
    this.directionalOrders = arrays.directionalOrders && decodeArray(arrays.directionalOrders);
    this.maps = new Map();
  }

  /** Unpacks the maps of a channel; those of another one wait until they are asked for. */
  async load(channel) {
    const [order, frequency, directional] = await Promise.all([
      this.#map(`order-${channel}`),
      this.#map(`frequency-${channel}`),
      this.directionalOrders && this.#map("directional"),
    ]);
    return { order, frequency, directional };
  }

  #map(name) {
    if (!this.maps.has(name)) {
      const base64 = document.getElementById(`levels-${name}`).textContent;
      this.maps.set(name, decodeLevels(this.levels[name], base64));
    }
    return this.maps.get(name);
  }

  /** The extracted order that an order is, or -1: the nearest one within half a line. */
  harmonicIndex(order) {
    const reach = 0.5 * this.orderResolution + 1e-9;
    return this.harmonicOrders.findIndex((known) => Math.abs(known - order) <= reach);
  }

  #place(channel, harmonic, row) {
    return (channel * this.harmonicOrders.length + harmonic) * this.speed.length + row;
  }

  /** Amplitude of an extracted order; NaN where nothing was measured. */
  amplitude(channel, harmonic, row) {
    return this.amplitudes[this.#place(channel, harmonic, row)];
  }

  /** Its phase in degrees, -180 to 180. */
  phase(channel, harmonic, row) {
    return this.phases[this.#place(channel, harmonic, row)];
  }

  /** How far the phases of its blocks agreed, 0 to 1. */
  coherence(channel, harmonic, row) {
    return this.coherences[this.#place(channel, harmonic, row)];
  }

  /** Whether its phase says something; not where nothing was measured. */
  isSteady(channel, harmonic, row) {
    return this.coherence(channel, harmonic, row) >= this.leastCoherence;
  }

  slice(channel, harmonic, row) {
    return this.slices[this.#place(channel, harmonic, row)];
  }

  overall(channel, row) {
    return this.overallLevels[channel * this.speed.length + row];
  }
}
