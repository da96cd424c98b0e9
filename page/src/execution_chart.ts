// SPDX-License-Identifier: Apache-2.0
// Durations over the run: a line where every execution has a pixel, else the band from the fastest
// to the slowest of each pixel; over it the warm-up, the percentiles and the outliers. A histogram
// on the same axis stands beside it, and the same numbers in a table below.

import uPlot from 'uplot';

import { bucketed, histogram, rankOf } from './series';
import { percentile, sortedValues, type Column } from './columns';
import { type Outlier } from './data';
import { coalesced, element, styleValue, svg } from './dom';
import { count, duration, percent, scaled, signedPercent, timeScale } from './numbers';
import { onThemeChange } from './theme';

export interface Series {
  readonly name: string;
  readonly durations: Column;
  readonly outliers: readonly Outlier[];
  /** Executions that count as warm-up. */
  readonly warmup: number;
}

const kHeight = 250;
const kHistogramWidth = 150;
const kMarks = [50, 95, 99] as const;

export class ExecutionChart {
  readonly node = element('div', { class: 'executions-chart' });
  private readonly plotHost = element('div', {
    class: 'plot',
    tabindex: 0,
    role: 'application',
    'aria-roledescription': 'chart',
  });
  private readonly histogramHost = svg('svg', { class: 'histogram', 'aria-hidden': 'true' });
  private readonly readout = element('p', { class: 'readout', role: 'status' });
  private readonly tables = element('div');
  private readonly redraw = coalesced(() => this.draw());
  private plot: uPlot | null = null;
  private sorted: Float64Array[] = [];
  private range: [number, number] = [0, 0];
  private cursor = -1;
  private isLogarithmic = false;

  constructor(
    private series: readonly Series[],
    /** Null where there is nothing to see of a single execution. */
    private readonly onPick: ((execution: number) => void) | null,
  ) {
    const details = element('details', { class: 'numbers' },
      element('summary', {}, 'The same as a table'), this.tables);
    details.addEventListener('toggle', () => this.fillTable(details.open));
    addEventListener('beforeprint', () => this.fillTable(true));
    this.node.append(
      element('div', { class: 'plot-row' }, this.plotHost, this.histogramHost),
      this.readout,
      details,
    );
    this.plotHost.addEventListener('keydown', (event) => this.pressed(event));
    new ResizeObserver(this.redraw).observe(this.plotHost);
    onThemeChange(() => this.draw());
    this.setSeries(series);
  }

  setSeries(series: readonly Series[]): void {
    this.series = series;
    this.sorted = series.map((one) => sortedValues(one.durations));
    this.cursor = -1;
    const names = series.map((one) => one.name).join(' and ');
    this.plotHost.setAttribute(
      'aria-label',
      `Duration of each execution of ${names}. Left and right move, Enter picks one, Escape shows all.`,
    );
    this.showAll();
  }

  setLogarithmic(isLogarithmic: boolean): void {
    this.isLogarithmic = isLogarithmic;
    this.draw();
  }

  showAll(): void {
    this.range = [0, Math.max(...this.series.map((one) => one.durations.length), 1)];
    this.describe();
    this.draw();
  }

  // --- Drawing ------------------------------------------------------------------------------------

  private draw(): void {
    const width = this.plotHost.clientWidth;
    if (width === 0) return;
    this.plot?.destroy();
    const [from, to] = this.range;
    const buckets = this.series.map((one) =>
      bucketed(one.durations, from, Math.min(to, one.durations.length), Math.max(width - 80, 50)),
    );
    const longest = buckets.reduce((a, b) => (b.at.length > a.at.length ? b : a));
    const values: uPlot.AlignedData = [
      Array.from(longest.at),
      ...buckets.flatMap(({ least, greatest }) => [plain(greatest), plain(least)]),
    ];
    this.plot = new uPlot(this.options(width), values, this.plotHost);
  }

  private options(width: number): uPlot.Options {
    const ink = styleValue('--muted');
    const line = styleValue('--line');
    const font = `12px ${styleValue('--font')}`;
    const scale = timeScale(this.extent()[1]);
    const axis = { stroke: ink, font, grid: { stroke: line, width: 1 }, ticks: { show: false } };
    return {
      width,
      height: kHeight,
      padding: [12, 44, 0, 0],
      legend: { show: false },
      scales: {
        x: { time: false, range: () => [this.range[0] - 0.5, this.range[1] - 0.5] },
        y: { distr: this.isLogarithmic ? 3 : 1, range: () => this.extent() },
      },
      axes: [
        { ...axis, size: 34, values: (_, ticks) => ticks.map((t) => (t % 1 === 0 ? count(t) : '')) },
        {
          ...axis,
          size: 62,
          values: (_, ticks) => ticks.map((t) => (t === null ? '' : `${trimmed(scaled(t, scale))} ${scale.unit}`)),
        },
      ],
      cursor: { y: false, points: { show: false }, drag: { x: true, y: false, setScale: false } },
      series: [{}, ...this.series.flatMap((_, i) => seriesPair(styleValue(i === 0 ? '--accent' : '--orange')))],
      bands: this.series.map((_, i) => ({ series: [2 * i + 1, 2 * i + 2] as uPlot.Band.Bounds })),
      hooks: {
        drawClear: [(plot) => this.drawWarmup(plot)],
        draw: [(plot) => this.drawMarks(plot), (plot) => this.drawOutliers(plot), (plot) => this.drawHistogram(plot)],
        setCursor: [(plot) => this.pointed(plot)],
        setSelect: [(plot) => this.zoom(plot)],
        ready: [(plot) => this.listen(plot)],
      },
    };
  }

  // The durations from a little below the least to a little above the greatest; from zero where that
  // is not far, so that heights compare.
  private extent(): [number, number] {
    const least = Math.min(...this.sorted.map((values) => values[0] ?? Infinity));
    const greatest = Math.max(...this.sorted.map((values) => values.at(-1) ?? -Infinity));
    if (!(greatest >= least)) return [0, 1];
    if (this.isLogarithmic) return [Math.max(least, 1) * 0.9, Math.max(greatest, 1) * 1.1];
    const margin = Math.max((greatest - least) * 0.08, greatest * 0.01, 1);
    const low = least - margin;
    return [low < greatest * 0.35 ? 0 : low, greatest + margin];
  }

  private drawWarmup(plot: uPlot): void {
    const { ctx, bbox } = plot;
    for (const one of this.series) {
      const end = Math.min(one.warmup, this.range[1]);
      if (end <= this.range[0]) continue;
      const right = plot.valToPos(end - 0.5, 'x', true);
      ctx.fillStyle = styleValue('--band');
      ctx.fillRect(bbox.left, bbox.top, right - bbox.left, bbox.height);
      ctx.fillStyle = styleValue('--muted');
      ctx.font = `${11 * devicePixelRatio}px ${styleValue('--font')}`;
      ctx.textAlign = 'left';
      ctx.textBaseline = 'top';
      ctx.fillText('warm-up', bbox.left + 4 * devicePixelRatio, bbox.top + 3 * devicePixelRatio);
    }
  }

  // Of one series its percentiles; of two, their medians. A label that would lie on another is left
  // out.
  private drawMarks(plot: uPlot): void {
    const marks = this.series.length > 1
      ? this.series.map((one, i) => ({ label: one.name, at: percentile(this.sorted[i]!, 50) }))
      : kMarks.filter((p) => p < 99 || this.sorted[0]!.length >= 100)
          .map((p) => ({ label: `p${p}`, at: percentile(this.sorted[0]!, p) }));
    let above = Infinity;
    for (const { label, at } of marks.sort((a, b) => a.at - b.at)) {
      if (Number.isNaN(at)) continue;
      const y = plot.valToPos(at, 'y', true);
      const isLabelled = above - y >= 12 * devicePixelRatio;
      if (isLabelled) above = y;
      drawMark(plot, y, isLabelled ? label : '');
    }
  }

  private drawOutliers(plot: uPlot): void {
    const { ctx } = plot;
    this.series.forEach((one) => {
      for (const outlier of one.outliers) {
        if (outlier.execution < this.range[0] || outlier.execution >= this.range[1]) continue;
        const x = plot.valToPos(outlier.execution, 'x', true);
        const y = plot.valToPos(outlier.duration_us, 'y', true);
        const size = (outlier.severity === 'severe' ? 6 : 4.5) * devicePixelRatio;
        ctx.beginPath();
        ctx.moveTo(x, y - size);
        ctx.lineTo(x + size, y);
        ctx.lineTo(x, y + size);
        ctx.lineTo(x - size, y);
        ctx.closePath();
        ctx.fillStyle = styleValue(outlier.severity === 'severe' ? '--orange' : '--surface');
        ctx.fill();
        ctx.strokeStyle = styleValue('--orange-ink');
        ctx.lineWidth = 1.5 * devicePixelRatio;
        ctx.stroke();
      }
    });
    if (this.cursor >= 0) this.drawCursor(plot);
  }

  private drawCursor(plot: uPlot): void {
    const { ctx } = plot;
    this.series.forEach((one) => {
      const value = one.durations[this.cursor];
      if (value === undefined || Number.isNaN(value)) return;
      ctx.beginPath();
      ctx.arc(plot.valToPos(this.cursor, 'x', true), plot.valToPos(value, 'y', true),
        5 * devicePixelRatio, 0, 2 * Math.PI);
      ctx.strokeStyle = styleValue('--ink');
      ctx.lineWidth = 2 * devicePixelRatio;
      ctx.stroke();
    });
  }

  private drawHistogram(plot: uPlot): void {
    const top = plot.bbox.top / devicePixelRatio;
    this.histogramHost.setAttribute('width', String(kHistogramWidth));
    this.histogramHost.setAttribute('height', String(kHeight));
    const bars: SVGElement[] = [];
    const bins = this.sorted.map((sorted) => histogram(sorted));
    const most = Math.max(...bins.flatMap(({ counts }) => counts), 1);
    bins.forEach(({ from, to, counts }, i) => {
      const step = (to - from) / counts.length;
      counts.forEach((inside, bin) => {
        if (inside === 0) return;
        const upper = plot.valToPos(from + (bin + 1) * step, 'y');
        const lower = plot.valToPos(from + bin * step, 'y');
        bars.push(
          svg('rect', {
            class: `bin side-${i}`,
            x: 0,
            y: (top + upper).toFixed(1),
            width: ((inside / most) * (kHistogramWidth - 34)).toFixed(1),
            height: Math.max(lower - upper - 1, 1.5).toFixed(1),
          }, svg('title', {}, `${count(inside)} executions, ${duration(from + bin * step)} to ${duration(from + (bin + 1) * step)}`)),
        );
      });
    });
    this.histogramHost.replaceChildren(...bars);
  }

  // --- Pointing -----------------------------------------------------------------------------------

  private listen(plot: uPlot): void {
    plot.over.addEventListener('click', () => {
      if (this.cursor >= 0) this.onPick?.(this.cursor);
    });
    plot.over.addEventListener('dblclick', () => this.showAll());
  }

  private zoom(plot: uPlot): void {
    if (plot.select.width < 8) return;
    const from = Math.floor(plot.posToVal(plot.select.left, 'x') + 0.5);
    const to = Math.ceil(plot.posToVal(plot.select.left + plot.select.width, 'x') + 0.5);
    this.range = [Math.max(from, 0), Math.max(Math.min(to, this.range[1]), from + 2)];
    this.redraw();
  }

  private pointed(plot: uPlot): void {
    if (plot.cursor.left === undefined || plot.cursor.left < 0) return;
    const at = Math.round(plot.posToVal(plot.cursor.left, 'x'));
    this.cursor = Math.max(Math.min(at, this.range[1] - 1), this.range[0]);
    this.describe();
  }

  private pressed(event: KeyboardEvent): void {
    const step = event.shiftKey ? 10 : 1;
    const last = this.range[1] - 1;
    const from = this.cursor < 0 ? this.range[0] - step : this.cursor;
    const moves: Record<string, number> = {
      ArrowRight: from + step,
      ArrowLeft: from - step,
      Home: this.range[0],
      End: last,
    };
    const to = moves[event.key];
    if (to !== undefined) {
      this.cursor = Math.max(Math.min(to, last), this.range[0]);
      this.describe();
      this.plot?.redraw(false);
    } else if (event.key === 'Enter' && this.cursor >= 0) this.onPick?.(this.cursor);
    else if (event.key === 'Escape') this.showAll();
    else return;
    event.preventDefault();
  }

  private describe(): void {
    if (this.cursor < 0) {
      const pick = '; click or press Enter to see what one spent its time on';
      const hint = 'Point at an execution, or use the arrow keys';
      this.readout.textContent = `${hint}${this.onPick === null ? '' : pick}.`;
      return;
    }
    this.readout.textContent = this.series
      .map((one, i) => describeExecution(one, this.sorted[i]!, this.cursor))
      .join(' · ');
  }

  // --- The table behind it ------------------------------------------------------------------------

  private fillTable(isOpen: boolean): void {
    if (!isOpen) return;
    this.tables.replaceChildren(...this.series.map((one) => bucketTable(one)));
  }
}

function describeExecution(series: Series, sorted: Float64Array, execution: number): string {
  const value = series.durations[execution];
  if (value === undefined) return `${series.name} has no execution ${count(execution)}`;
  const head = `${series.name}, execution ${count(execution)}: `;
  if (Number.isNaN(value)) return `${head}no duration`;
  const median = percentile(sorted, 50);
  const rank = percent(rankOf(sorted, value));
  return `${head}${duration(value)}, ${signedPercent((value / median - 1) * 100)} against the median, slower than ${rank} of all`;
}

// At most forty rows, so that it can be read out.
function bucketTable(series: Series): HTMLElement {
  const { durations } = series;
  const { least, greatest } = bucketed(durations, 0, durations.length, 40);
  const rows = Array.from(least, (low, i) => {
    const first = Math.floor((i * durations.length) / least.length);
    const last = Math.floor(((i + 1) * durations.length) / least.length) - 1;
    const executions = first === last ? count(first) : `${count(first)} to ${count(last)}`;
    return element('tr', {}, element('th', { scope: 'row' }, executions),
      element('td', {}, duration(low)), element('td', {}, duration(greatest[i]!)));
  });
  return element('table', {}, element('caption', {}, `Durations of ${series.name}`),
    element('thead', {}, element('tr', {}, ...['Executions', 'Fastest', 'Slowest'].map((title) =>
      element('th', { scope: 'col' }, title)))),
    element('tbody', {}, ...rows));
}

function drawMark({ ctx, bbox }: uPlot, y: number, label: string): void {
  ctx.save();
  ctx.strokeStyle = styleValue('--muted');
  ctx.lineWidth = devicePixelRatio;
  ctx.setLineDash([5 * devicePixelRatio, 4 * devicePixelRatio]);
  ctx.beginPath();
  ctx.moveTo(bbox.left, y);
  ctx.lineTo(bbox.left + bbox.width, y);
  ctx.stroke();
  ctx.font = `${11 * devicePixelRatio}px ${styleValue('--font')}`;
  ctx.fillStyle = styleValue('--ink');
  ctx.textAlign = 'left';
  ctx.textBaseline = 'middle';
  ctx.fillText(label, bbox.left + bbox.width + 6 * devicePixelRatio, y);
  ctx.restore();
}

const seriesPair = (stroke: string): uPlot.Series[] => [
  { stroke, width: 1.5, fill: alpha(stroke, 0.18), points: { show: false }, spanGaps: false },
  { stroke, width: 1, points: { show: false }, spanGaps: false },
];

const plain = (column: Float64Array): (number | null)[] =>
  Array.from(column, (value) => (Number.isNaN(value) ? null : value));

const trimmed = (text: string): string => (text.includes('.') ? text.replace(/\.?0+$/, '') : text);

/** A colour #rrggbb with an opacity. */
function alpha(colour: string, opacity: number): string {
  return /^#[0-9a-f]{6}$/i.test(colour)
    ? colour + Math.round(opacity * 255).toString(16).padStart(2, '0')
    : colour;
}
