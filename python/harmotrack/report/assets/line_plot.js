// A line plot of uPlot in the manner of the page: our colours, our margins, one cursor along x.

import { number } from "./format.js";
import { colour, panelSize } from "./theme.js";

const FONT = '12px system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif';

export class LinePlot {
  /**
   * @param host    element that the plot fills in width; its data-height is the height
   * @param x, y    { label, range() }: axes and their limits
   * @param series  [{ stroke, width, dash, isPoints }]: the lines; `stroke` is a function
   * @param move    called with the x under the pointer
   * @param draw    called with (context, plot) after the lines were drawn
   */
  constructor(host, { x, y, series, move, draw }) {
    this.host = host;
    this.x = x;
    this.y = y;
    this.move = move;
    this.draw = draw;
    this.cursorX = null;
    this.build(series);
  }

  build(series) {
    this.plot?.destroy();
    this.series = series;
    this.data = [[], ...series.map(() => [])];
    this.plot = new window.uPlot(this.#options(series), this.data, this.host);
    this.plot.root.setAttribute("aria-hidden", "true");
  }

  /** Takes [x, y1, y2 ...]; null leaves a gap. */
  show(data) {
    this.data = data;
    this.plot.setData(data);
    this.setCursor(this.cursorX);
  }

  setCursor(value) {
    this.cursorX = value;
    if (value === null || this.data[0].length === 0) return;
    const left = this.plot.valToPos(value, "x");
    const inside = left >= 0 && left <= this.plot.over.clientWidth;
    this.plot.setCursor({ left: inside ? left : -10, top: 0 }, false);
  }

  /** After colours or sizes have changed. */
  redraw() {
    this.plot.setSize(this.#size());
    this.plot.redraw(false, true);
    this.setCursor(this.cursorX);
  }

  #size() {
    return panelSize(this.host);
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
      ...this.#size(),
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
          paths: one.isPoints ? () => null : undefined,
          points: { show: one.isPoints ?? false, size: 4, fill: one.stroke, width: 0 },
          spanGaps: false,
        })),
      ],
      hooks: {
        ready: [(plot) => this.#listen(plot)],
        draw: [(plot) => this.draw?.(plot.ctx, plot)],
      },
    };
  }

  #listen(plot) {
    plot.over.addEventListener("mousemove", (event) => {
      const box = plot.over.getBoundingClientRect();
      this.move?.(plot.posToVal(event.clientX - box.left, "x"));
    });
    // uPlot hides its cursor when the pointer leaves; ours stays where the reader put it.
    plot.over.addEventListener("mouseleave", () =>
      queueMicrotask(() => this.setCursor(this.cursorX)),
    );
  }
}
