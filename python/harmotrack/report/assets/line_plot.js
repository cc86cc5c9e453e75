// A line plot of uPlot in the manner of the page: our colours, our margins, one cursor along x.
//
// Lines that follow the cursor have a canvas of their own: a move draws these, and leaves the axes
// and what else there is as they are.

import { drawCurve } from "./curve.js";
import { number } from "./format.js";
import { Panel } from "./panel.js";
import { colour, isPrinting } from "./theme.js";

const FONT = '12px system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif';

export class LinePlot extends Panel {
  #isNew = true;
  #hasNewValues = true;
  #isMoved = false;
  #isRestyled = false;

  /**
   * @param host    see Panel
   * @param x, y    { label, range() }: axes and their limits
   * @param moving  [{ stroke, width, dash }]: lines that follow the cursor; `stroke` is a function
   * @param series  [{ stroke, width, dash, isPoints }]: the other lines
   * @param isBelow whether the moving ones are drawn below the others
   * @param move    called with the x under the pointer
   * @param marks   gives values of x that are marked
   */
  constructor(host, { x, y, moving = [], series = [], isBelow = false, move, marks }) {
    super(host);
    Object.assign(this, { x, y, moving, series, isBelow, move, marks });
    /** Gives [x, y1, y2 ...] of the lines that stay; null leaves a gap. */
    this.fixedValues = () => [[], ...this.series.map(() => [])];
    /** Gives [y1, y2 ...] of the moving ones. */
    this.movingValues = () => [];
    this.data = [];
    this.cursorX = null;
  }

  /** Takes other lines, or the same ones for another scale. */
  build(series = this.series) {
    this.series = series;
    this.#isNew = true;
    this.invalidate();
  }

  show() {
    this.#hasNewValues = true;
    this.invalidate();
  }

  showMoving() {
    this.#isMoved = true;
    this.invalidate();
  }

  setCursor(value) {
    this.cursorX = value;
    this.invalidate();
  }

  refresh() {
    this.#isRestyled = true;
    this.invalidate();
  }

  draw() {
    const isWhole = this.#isNew || this.#hasNewValues || this.#isRestyled;
    if (isWhole || this.#isMoved) this.#takeValues(isWhole);
    if (isWhole || this.#hasNewRange()) this.#drawAll();
    else if (this.#isMoved) this.plot.setData(this.data, false);
    if (isWhole || this.#isMoved) this.#drawMoving();
    this.#isNew = false;
    this.#hasNewValues = false;
    this.#isMoved = false;
    this.#isRestyled = false;
    this.#placeCursor();
  }

  #takeValues(isWhole) {
    const [x, ...others] = isWhole ? this.fixedValues() : this.fixed;
    this.fixed = [x, ...others];
    this.data = [x, ...this.movingValues(), ...others];
  }

  #drawAll() {
    if (this.#isNew) this.#make();
    // A batch draws before it returns, and so in this frame.
    this.plot.batch(() => {
      if (!this.#isNew) this.plot.setData(this.data);
      if (this.#isRestyled) {
        this.plot.setSize(this.size);
        this.plot.redraw(false, true);
      }
    });
  }

  #hasNewRange() {
    const { min, max } = this.plot.scales.y;
    const [low, high] = this.y.range();
    return low !== min || high !== max;
  }

  #make() {
    this.plot?.destroy();
    const series = [...this.moving.map((one) => ({ ...one, isMoving: true })), ...this.series];
    this.plot = new window.uPlot(this.#options(series), this.data, this.host);
    this.plot.root.setAttribute("aria-hidden", "true");
    if (this.moving.length === 0) return;
    this.canvas = document.createElement("canvas");
    this.canvas.className = "moving";
    (this.isBelow ? this.plot.under : this.plot.over).prepend(this.canvas);
  }

  #drawMoving() {
    if (this.moving.length === 0) return;
    const { bbox, scales } = this.plot;
    const width = Math.round(bbox.width);
    const height = Math.round(bbox.height);
    const { canvas } = this;
    const context = canvas.getContext("2d");
    // On paper clearRect() is white paint, and would hide the grid.
    if (isPrinting() || canvas.width !== width || canvas.height !== height) {
      Object.assign(canvas, { width, height });
    } else context.clearRect(0, 0, width, height);
    const ratio = window.uPlot.pxRatio;
    const scale = {
      ...{ x0: scales.x.min, x1: scales.x.max, y0: scales.y.min, y1: scales.y.max },
      ...{ width, height },
    };
    for (const [index, line] of this.moving.entries()) {
      drawCurve(
        context,
        {
          x: this.data[0],
          y: this.data[index + 1],
          stroke: line.stroke(),
          width: line.width * ratio,
          dash: line.dash?.map((part) => part * ratio),
        },
        scale,
      );
    }
    this.#drawMarks(context, scale);
  }

  #drawMarks(context, { x0, x1, width, height }) {
    context.strokeStyle = colour("cursor");
    context.lineWidth = window.uPlot.pxRatio;
    context.setLineDash([3, 4]);
    for (const value of this.marks?.() ?? []) {
      const x = Math.round(((value - x0) / (x1 - x0)) * width) + 0.5;
      context.beginPath();
      context.moveTo(x, 0);
      context.lineTo(x, height);
      context.stroke();
    }
    context.setLineDash([]);
  }

  #placeCursor() {
    if (this.cursorX === null || this.data[0].length === 0) return;
    const left = this.plot.valToPos(this.cursorX, "x");
    const inside = left >= 0 && left <= this.plot.bbox.width / window.uPlot.pxRatio;
    this.plot.setCursor({ left: inside ? left : -10, top: 0 }, false);
  }

  #options(series) {
    const axis = {
      font: FONT,
      labelFont: FONT,
      stroke: () => colour("muted"),
      grid: { stroke: () => colour("line"), width: 1 },
      ticks: { stroke: () => colour("line"), width: 1, size: 4 },
      gap: 4,
    };
    const plain = (_, values) => values.map((value) => (value === null ? "" : number(value, 6)));
    return {
      ...this.size,
      padding: [8, 16, 0, 0],
      legend: { show: false },
      cursor: {
        x: true,
        y: false,
        drag: { x: false, y: false },
        points: { size: 7 },
      },
      scales: {
        x: { time: false, range: () => this.x.range() },
        y: { range: () => this.y.range() },
      },
      axes: [
        { ...axis, size: 26, label: this.x.label, labelSize: 16, labelGap: 0, values: plain },
        {
          ...axis,
          size: 42,
          label: this.y.label(),
          labelSize: 16,
          labelGap: 0,
          values: plain,
          incrs: this.y.increments,
        },
      ],
      series: [
        {},
        ...series.map((one) => ({
          stroke: one.stroke,
          fill: one.fill,
          width: one.width ?? 1.5,
          dash: one.dash,
          // Phases are points: a line would cross the plot wherever they pass from 180 to -180.
          paths: one.isPoints || one.isMoving ? () => null : undefined,
          points: {
            // A line through one point is none.
            show: one.isPoints ?? (({ data }) => !one.isMoving && data[0].length === 1),
            size: one.isPoints ? 4 : 8,
            fill: one.stroke,
            width: 0,
          },
          spanGaps: false,
        })),
      ],
      hooks: {
        ready: [(plot) => this.#listen(plot)],
      },
    };
  }

  #listen(plot) {
    plot.over.addEventListener("mousemove", (event) => {
      const box = plot.over.getBoundingClientRect();
      this.move?.(plot.posToVal(event.clientX - box.left, "x"));
    });
    // uPlot hides its cursor when the pointer leaves; ours stays where the reader put it.
    plot.over.addEventListener("mouseleave", () => queueMicrotask(() => this.#placeCursor()));
  }
}
