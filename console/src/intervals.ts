// How sure a number is: intervals that hold the true one in 95 of 100 cases.

export interface Interval {
  readonly value: number;
  readonly low: number;
  readonly high: number;
}

const Z = 1.959964;

// Of a share, after Wilson: right for few cases and for shares near 0, too.
export function shareInterval(of: number, all: number): Interval | null {
  if (all <= 0) return null;
  const p = of / all;
  const z2 = Z * Z;
  const middle = (p + z2 / (2 * all)) / (1 + z2 / all);
  const half = (Z / (1 + z2 / all)) * Math.sqrt((p * (1 - p)) / all + z2 / (4 * all * all));
  return {value: p, low: Math.max(0, middle - half), high: Math.min(1, middle + half)};
}

// Of a mean, from the sum of the values and of their squares.
export function meanInterval(sum: number, squares: number, count: number): Interval | null {
  if (count < 2) return null;
  const mean = sum / count;
  const variance = Math.max(0, (squares - sum * mean) / (count - 1));
  const half = Z * Math.sqrt(variance / count);
  return {value: mean, low: mean - half, high: mean + half};
}

// Of what several have of one thing by what they have of another, such as the seconds of a session: each of `count`
// counts as a whole, since the sessions of one player are alike.
export function ratioInterval(
  {of, by, ofSquares, bySquares, ofTimesBy}: Record<"of" | "by" | "ofSquares" | "bySquares" | "ofTimesBy", number>,
  count: number,
): Interval | null {
  if (count < 2 || by === 0) return null;
  const value = of / by;
  const squares = Math.max(0, ofSquares - 2 * value * ofTimesBy + value * value * bySquares);
  const half = (Z * Math.sqrt((squares * count) / (count - 1))) / by;
  return {value, low: value - half, high: value + half};
}

// Of the difference of two independent ones, after Newcombe: by how far each may be off on the side that counts.
export function difference(one: Interval, other: Interval): Interval {
  const value = one.value - other.value;
  return {
    value,
    low: value - Math.hypot(one.value - one.low, other.high - other.value),
    high: value + Math.hypot(one.high - one.value, other.value - other.low),
  };
}

export const isSure = ({low, high}: Interval): boolean => low > 0 || high < 0;

// How many cases each group needs until a share that is a tenth larger shows in four of five experiments.
export function neededFor(share: number): number {
  const step = share / 10;
  return step === 0 ? Infinity : Math.ceil((16 * share * (1 - share)) / (step * step));
}
