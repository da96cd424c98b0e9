// SPDX-License-Identifier: Apache-2.0
// Numbers as the page shows them: the same on every machine, whatever its language.

/** A whole number with commas between the thousands; "–" for one that is not there. */
export function count(value: number): string {
  if (!Number.isFinite(value)) return '–';
  return grouped(Math.round(value).toFixed(0));
}

function grouped(digits: string): string {
  return digits.replace('-', '−').replace(/\B(?=(\d{3})+(?!\d))/g, ',');
}

/** A number with `decimals` digits after the point. */
export function fixed(value: number, decimals: number): string {
  if (!Number.isFinite(value)) return '–';
  const [whole = '', fraction] = value.toFixed(decimals).split('.');
  const isZero = Number(value.toFixed(decimals)) === 0;
  return grouped(isZero ? whole.replace('-', '') : whole) + (fraction ? `.${fraction}` : '');
}

/** A unit that a whole column or axis is shown in. */
export interface Scale {
  readonly unit: string;
  readonly divisor: number;
  readonly decimals: number;
}

const kMicroseconds: Scale = { unit: 'µs', divisor: 1, decimals: 0 };
const kMilliseconds: Scale = { unit: 'ms', divisor: 1e3, decimals: 2 };
const kSeconds: Scale = { unit: 's', divisor: 1e6, decimals: 2 };

/** The unit for times of which `largest`, in microseconds, is the largest. */
export function timeScale(largest: number): Scale {
  if (!(Math.abs(largest) >= 1e4)) return kMicroseconds;
  return Math.abs(largest) < 1e7 ? kMilliseconds : kSeconds;
}

export function byteScale(largest: number): Scale {
  const size = Math.abs(largest);
  if (!(size >= 1e4)) return { unit: 'B', divisor: 1, decimals: 0 };
  if (size < 1e7) return { unit: 'kB', divisor: 1e3, decimals: 1 };
  if (size < 1e10) return { unit: 'MB', divisor: 1e6, decimals: 1 };
  return { unit: 'GB', divisor: 1e9, decimals: 2 };
}

/** The scale for values of a log's unit; units that are not known are shown as they are. */
export function scaleOf(unit: string | null, largest: number): Scale {
  if (unit === 'us') return timeScale(largest);
  if (unit === 'bytes') return byteScale(largest);
  const isPlain = unit === null || unit === 'count' || unit === 'none';
  return { unit: isPlain ? '' : unit, divisor: 1, decimals: Number.isInteger(largest) ? 0 : 2 };
}

/** The value in a scale, without its unit. */
export function scaled(value: number, scale: Scale): string {
  return fixed(value / scale.divisor, scale.decimals);
}

/** A value of a log's unit with the unit that fits it: "16.54 ms". */
export function quantity(value: number, unit: string | null): string {
  if (!Number.isFinite(value)) return '–';
  const scale = scaleOf(unit, value);
  return `${scaled(value, scale)} ${scale.unit}`.trim();
}

export const duration = (value: number): string => quantity(value, 'us');

/** A share of one as a percentage with one decimal. A small share that is not zero shows so. */
export function percent(share: number): string {
  if (!Number.isFinite(share)) return '–';
  if (share > 0 && share < 0.0005) return '<0.1 %';
  return `${fixed(share * 100, 1)} %`;
}

/** A change with its sign, always: "+38.2 %", "−3.1 %", "±0.0 %". */
export function signed(value: number, text: (magnitude: number) => string): string {
  if (!Number.isFinite(value)) return '–';
  const magnitude = text(Math.abs(value));
  if (!/[1-9]/.test(magnitude)) return `±${magnitude}`;
  return (value > 0 ? '+' : '−') + magnitude;
}

export const signedPercent = (change: number): string =>
  signed(change, (magnitude) => `${fixed(magnitude, 1)} %`);
