// SPDX-License-Identifier: Apache-2.0
// The icicle: a row of boxes for each level of the events, each as wide as its time.
//
// Drawn on a canvas, which stays quick with tens of thousands of boxes: of each level only what is
// in sight is touched, and what is narrower than half a pixel is drawn as one. A click or Enter
// zooms to a box; arrow keys walk from box to box; what they reach is read out below.

import { coalesced, element, styleValue } from './dom';
import { boxAt, boxesWithin, layOut, type IcicleLayout } from './icicle_layout';
import { shortened } from './names';
import { onThemeChange } from './theme';

export interface IcicleModel {
  readonly label: string;
  readonly parents: ArrayLike<number>;
  readonly values: ArrayLike<number>;
  readonly names: readonly string[];
  /** The colour of a row's box, as #rrggbb. */
  colour(row: number): string;
  /** One line on a row: its name, its time, its share. */
  describe(row: number): string;
}

const kLevelHeight = 30;
const kGap = 1;
const kZoomMilliseconds = 220;

export class Icicle {
  readonly node = element('div', { class: 'icicle' });
  private readonly canvas = element('canvas', {
    tabindex: 0,
    role: 'application',
    'aria-roledescription': 'icicle chart',
  });
  private readonly tip = element('div', { class: 'tip', hidden: true, 'aria-hidden': 'true' });
  private readonly status = element('p', { class: 'readout', role: 'status' });
  private readonly redraw = coalesced(() => this.draw());
  private layout: IcicleLayout;
  private view: [number, number] = [0, 1];
  private zoomed = -1;
  private focused = -1;
  private pointed = -1;
  private marked: Uint8Array | null = null;

  constructor(
    private model: IcicleModel,
    private readonly onPick: (row: number) => void,
  ) {
    this.layout = layOut(model.parents, model.values);
    this.node.append(element('div', { class: 'icicle-frame' }, this.canvas, this.tip), this.status);
    this.canvas.addEventListener('pointermove', (event) => this.pointAt(event));
    this.canvas.addEventListener('pointerleave', () => this.point(-1));
    this.canvas.addEventListener('click', (event) => this.clicked(event));
    this.canvas.addEventListener('keydown', (event) => this.pressed(event));
    this.canvas.addEventListener('focus', () => this.focus(this.focused < 0 ? this.first() : this.focused));
    new ResizeObserver(this.redraw).observe(this.canvas.parentElement!);
    onThemeChange(() => this.draw());
    this.setModel(model);
  }

  get isNarrowed(): boolean {
    return this.layout.isNarrowed;
  }

  setModel(model: IcicleModel): void {
    this.model = model;
    this.layout = layOut(model.parents, model.values);
    this.canvas.setAttribute('aria-label',
      `${model.label}. Arrow keys move between boxes, Enter zooms in, Escape zooms out.`);
    this.zoomed = this.focused = this.pointed = -1;
    this.view = [0, 1];
    this.status.textContent = '';
    this.draw();
  }

  /** Rows that stand out, the others fade; null for none. */
  mark(marked: Uint8Array | null): void {
    this.marked = marked;
    this.redraw();
  }

  /** Zooms so that the row's parent fills the width, and moves the focus to the row. */
  reveal(row: number): void {
    const parent = this.model.parents[row]!;
    this.zoomTo(parent);
    this.focus(row);
  }

  zoomOut(): void {
    this.zoomTo(-1);
  }

  // --- Zoom ---------------------------------------------------------------------------------------

  private zoomTo(row: number): void {
    this.zoomed = row;
    const target: [number, number] =
      row < 0 ? [0, 1] : [this.layout.start[row]!, this.layout.end[row]!];
    if (target[1] - target[0] <= 0) return;
    const from = this.view;
    const began = performance.now();
    const isStill = matchMedia('(prefers-reduced-motion: reduce)').matches;
    const step = (now: number) => {
      const t = isStill ? 1 : Math.min((now - began) / kZoomMilliseconds, 1);
      const eased = 1 - (1 - t) ** 3;
      this.view = [from[0] + (target[0] - from[0]) * eased, from[1] + (target[1] - from[1]) * eased];
      this.draw();
      if (t < 1) requestAnimationFrame(step);
    };
    requestAnimationFrame(step);
  }

  // --- Drawing ------------------------------------------------------------------------------------

  private draw(): void {
    const width = this.canvas.parentElement!.clientWidth;
    const levels = this.layout.levels.length;
    if (width === 0) return;
    const height = Math.max(levels, 1) * kLevelHeight;
    const ratio = devicePixelRatio;
    this.canvas.width = Math.round(width * ratio);
    this.canvas.height = Math.round(height * ratio);
    this.canvas.style.setProperty('height', `${height}px`);
    const context = this.canvas.getContext('2d')!;
    context.scale(ratio, ratio);
    context.font = `12px ${styleValue('--mono')}`;
    context.textBaseline = 'middle';
    const characterWidth = context.measureText('0').width;
    for (let level = 0; level < levels; ++level)
      this.drawLevel(context, level, width, characterWidth);
    this.drawFocus(context, width);
  }

  private drawLevel(
    context: CanvasRenderingContext2D,
    level: number,
    width: number,
    characterWidth: number,
  ): void {
    const [first, last] = boxesWithin(this.layout, level, this.view[0], this.view[1]);
    const rows = this.layout.levels[level]!;
    let drawnTo = -1;
    for (let i = first; i < last; ++i) {
      const row = rows[i]!;
      const left = Math.max(this.toPixel(this.layout.start[row]!, width), -1);
      const right = Math.min(this.toPixel(this.layout.end[row]!, width), width + 1);
      if (right - drawnTo < 0.5) continue;
      drawnTo = right;
      this.drawBox(context, row, left, level * kLevelHeight, right - left, characterWidth);
    }
  }

  private drawBox(
    context: CanvasRenderingContext2D,
    row: number,
    left: number,
    top: number,
    width: number,
    characterWidth: number,
  ): void {
    const isFaded = this.marked !== null && this.marked[row] === 0;
    const gap = width > 3 ? kGap : 0;
    context.globalAlpha = isFaded ? 0.22 : row === this.pointed ? 0.82 : 1;
    context.fillStyle = this.model.colour(row);
    context.fillRect(left, top, Math.max(width - gap, 0.5), kLevelHeight - kGap);
    context.globalAlpha = isFaded ? 0.5 : 1;
    const room = Math.floor((width - 12) / characterWidth);
    if (room < 3) return;
    context.fillStyle = styleValue(isFaded ? '--ink' : '--on-colour');
    const text = shortened(this.model.names[row]!, room);
    context.fillText(text, Math.max(left, 0) + 6, top + kLevelHeight / 2);
    context.globalAlpha = 1;
  }

  private drawFocus(context: CanvasRenderingContext2D, width: number): void {
    if (this.focused < 0) return;
    const left = this.toPixel(this.layout.start[this.focused]!, width);
    const right = this.toPixel(this.layout.end[this.focused]!, width);
    const top = this.layout.depth[this.focused]! * kLevelHeight;
    context.globalAlpha = 1;
    context.strokeStyle = styleValue('--ink');
    context.lineWidth = 2;
    const from = Math.max(left, 0) + 1;
    context.strokeRect(from, top + 1, Math.max(Math.min(right, width) - from - 2, 2), kLevelHeight - 3);
  }

  private toPixel(place: number, width: number): number {
    return ((place - this.view[0]) / (this.view[1] - this.view[0])) * width;
  }

  // --- Pointer and keys ---------------------------------------------------------------------------

  private rowAt(event: MouseEvent): number {
    const box = this.canvas.getBoundingClientRect();
    const place = this.view[0] + ((event.clientX - box.left) / box.width) * (this.view[1] - this.view[0]);
    return boxAt(this.layout, Math.floor((event.clientY - box.top) / kLevelHeight), place);
  }

  private pointAt(event: PointerEvent): void {
    this.point(this.rowAt(event));
    if (this.pointed < 0) return;
    const frame = this.canvas.parentElement!.getBoundingClientRect();
    const isRight = event.clientX - frame.left > frame.width / 2;
    this.tip.style.setProperty('left', isRight ? 'auto' : `${event.clientX - frame.left + 12}px`);
    this.tip.style.setProperty('right', isRight ? `${frame.right - event.clientX + 12}px` : 'auto');
    this.tip.style.setProperty('top', `${event.clientY - frame.top + 16}px`);
  }

  private point(row: number): void {
    if (row === this.pointed) return;
    this.pointed = row;
    this.tip.hidden = row < 0;
    if (row >= 0) this.tip.textContent = this.model.describe(row);
    this.redraw();
  }

  private clicked(event: MouseEvent): void {
    const row = this.rowAt(event);
    if (row < 0) return;
    this.activate(row);
  }

  // A box that fills the width already leads back out.
  private activate(row: number): void {
    this.focus(row);
    this.zoomTo(row === this.zoomed ? this.model.parents[row]! : row);
    this.onPick(row);
  }

  private first(): number {
    return this.layout.levels[0]?.[0] ?? -1;
  }

  private focus(row: number): void {
    this.focused = row;
    this.status.textContent = row < 0 ? '' : this.model.describe(row);
    this.redraw();
  }

  private pressed(event: KeyboardEvent): void {
    if (event.key === 'Enter' || event.key === ' ') {
      if (this.focused >= 0) this.activate(this.focused);
    } else if (event.key === 'Escape' || event.key === 'Home') {
      const out = event.key === 'Home' || this.zoomed < 0 ? -1 : this.model.parents[this.zoomed]!;
      this.zoomTo(out);
      this.focus(out < 0 ? this.first() : out);
    } else {
      const target = this.neighbour(event.key);
      if (target === null) return;
      if (target >= 0) this.walkTo(target);
    }
    event.preventDefault();
  }

  // Keeps the box in sight: beyond the view, the view moves out to its parent.
  private walkTo(row: number): void {
    const middle = (this.layout.start[row]! + this.layout.end[row]!) / 2;
    if (middle < this.view[0] || middle > this.view[1]) this.zoomTo(this.model.parents[row]!);
    this.focus(row);
  }

  private neighbour(key: string): number | null {
    const row = this.focused;
    const level = this.layout.levels[this.layout.depth[row] ?? 0] ?? new Int32Array();
    const at = level.indexOf(row);
    switch (key) {
      case 'ArrowRight': return level[at + 1] ?? -1;
      case 'ArrowLeft': return at > 0 ? level[at - 1]! : -1;
      case 'ArrowUp': return row < 0 ? -1 : this.model.parents[row]!;
      case 'ArrowDown': return row < 0 ? this.first() : this.widestChild(row);
      default: return null;
    }
  }

  private widestChild(row: number): number {
    const depth = this.layout.depth[row]! + 1;
    const { start, end } = this.layout;
    const [first, last] = boxesWithin(this.layout, depth, start[row]!, end[row]!);
    const level = this.layout.levels[depth] ?? new Int32Array();
    let widest = -1;
    for (const child of level.subarray(first, last))
      if (this.model.parents[child] === row)
        if (widest < 0 || end[child]! - start[child]! > end[widest]! - start[widest]!) widest = child;
    return widest;
  }
}
