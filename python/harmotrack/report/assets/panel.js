// When panels draw: once a frame, and only those in sight. The others catch up when they come into
// sight, or before the page is printed.

import { isPrinting } from "./theme.js";

const panels = new Map();
let isFlushing = false;

// Two panels side by side on A4 with margins of 10 mm.
const PRINT_WIDTH = 350;
const LEAST_WIDTH = 200;
/** What is this near to the window, in pixels, counts as in sight: it is ready when it is scrolled to. */
const NEAR = 100;

/** A drawing that fills the width of an element; data-height, or data-print-height, is its height. */
export class Panel {
  constructor(host) {
    this.host = host;
    this.isStale = true;
    this.isSeen = false;
    host.style.height = `${host.dataset.height}px`;
    panels.set(host, this);
  }

  setHeight(height, printHeight) {
    Object.assign(this.host.dataset, { height, printHeight });
    this.host.style.height = `${this.size.height}px`;
    this.refresh();
  }

  /** On paper sizes are fixed, for there no layout comes first. */
  get size() {
    const { height, printHeight } = this.host.dataset;
    if (isPrinting()) return { width: PRINT_WIDTH, height: Number(printHeight) };
    return { width: this.hostWidth, height: Number(height) };
  }

  /** Pixels of the canvas to one of the page. */
  get ratio() {
    return isPrinting() ? 2 : window.devicePixelRatio || 1;
  }

  /** Asks for draw(), which comes when all changes of this moment are known. */
  invalidate() {
    this.isStale = true;
    if (isFlushing) return;
    isFlushing = true;
    queueMicrotask(flush);
  }

  /** Draws what has changed. */
  draw() {}

  /** Draws all of it anew, as after a change of colours or sizes. */
  refresh() {
    this.invalidate();
  }
}

function flush() {
  isFlushing = false;
  for (const panel of panels.values()) {
    if (!panel.isStale || !(panel.isSeen || isPrinting())) continue;
    panel.isStale = false;
    panel.draw();
  }
}

/** Everything anew, now: after a change of colours, and before a page is printed. */
export function refreshAll() {
  for (const [host, panel] of panels) {
    host.style.height = `${panel.size.height}px`;
    panel.refresh();
  }
  flush();
}

/** Begins to draw: what the window shows is known at once, later changes are observed. */
export function watchPanels() {
  const boxes = [...panels.keys()].map((host) => host.getBoundingClientRect());
  [...panels.values()].forEach((panel, index) => {
    const { top, bottom, width } = boxes[index];
    panel.hostWidth = Math.max(LEAST_WIDTH, Math.floor(width));
    panel.isSeen = bottom > -NEAR && top < window.innerHeight + NEAR;
  });
  const sights = new IntersectionObserver(
    (entries) => {
      for (const { target, isIntersecting } of entries) panels.get(target).isSeen = isIntersecting;
      flush();
    },
    { rootMargin: `${NEAR}px` },
  );
  const sizes = new ResizeObserver((entries) => {
    for (const { target, contentRect } of entries) widen(panels.get(target), contentRect.width);
    flush();
  });
  for (const host of panels.keys()) {
    sights.observe(host);
    sizes.observe(host);
  }
  flush();
}

function widen(panel, hostWidth) {
  const width = Math.max(LEAST_WIDTH, Math.floor(hostWidth));
  if (isPrinting() || width === panel.hostWidth) return;
  panel.hostWidth = width;
  panel.refresh();
}
