// SPDX-License-Identifier: Apache-2.0
// The colour of a change: blue for less, grey for none, orange for more, in seven steps, so that a
// legend can show each of them.

export interface ChangeStep {
  /** The least change in percent of this step; the first has none. */
  readonly from: number;
  readonly style: string;
  readonly label: string;
}

export const kChangeSteps: readonly ChangeStep[] = [
  { from: -Infinity, style: '--less-3', label: 'below −25 %' },
  { from: -25, style: '--less-2', label: '−25 %' },
  { from: -10, style: '--less-1', label: '−10 %' },
  { from: -3, style: '--no-change', label: '±3 %' },
  { from: 3, style: '--more-1', label: '+3 %' },
  { from: 10, style: '--more-2', label: '+10 %' },
  { from: 25, style: '--more-3', label: '+25 % and above' },
];

/** The step of a change in percent; of one that is not known, that of no change. */
export function changeStep(percent: number): number {
  if (Number.isNaN(percent)) return kChangeSteps.findIndex(({ style }) => style === '--no-change');
  let step = 0;
  while (step + 1 < kChangeSteps.length && percent >= kChangeSteps[step + 1]!.from) ++step;
  return step;
}
