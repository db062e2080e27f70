// A document of configurations, as docs/configurations.md describes it.

export interface Conditions {
  readonly platforms?: readonly string[];
  readonly builds?: readonly string[];
  readonly share?: number; // percent
  readonly start_ts?: number;
  readonly end_ts?: number;
}

export interface Entry extends Conditions {
  readonly key: string;
  readonly value: unknown;
}

export interface Group {
  readonly id: string;
  readonly weight?: number;
  readonly configurations?: readonly Entry[];
}

export interface Experiment extends Conditions {
  readonly id: string;
  readonly groups: readonly Group[];
}

export interface Document {
  readonly configurations?: readonly Entry[];
  readonly experiments?: readonly Experiment[];
}

// The game's readers take text; what isn't one stays what it is, written as JSON.
export const textOfValue = (value: unknown): string =>
  typeof value === "string" ? value : (JSON.stringify(value) ?? "");

export function valueOfText(text: string, before: unknown): unknown {
  if (typeof before === "string" || before === undefined) return text;
  try {
    return JSON.parse(text);
  } catch {
    return text;
  }
}

// Without the members that say nothing: a missing one is the same.
export function tidied<Item extends object>(item: Item): Item {
  const isSaid = (value: unknown) =>
    value !== undefined && value !== null && !(Array.isArray(value) && value.length === 0);
  return Object.fromEntries(Object.entries(item).filter(([, value]) => isSaid(value))) as Item;
}

export const replacedAt = <Item>(items: readonly Item[], index: number, item: Item): Item[] =>
  items.map((each, at) => (at === index ? item : each));
export const withoutAt = <Item>(items: readonly Item[], index: number): Item[] => items.filter((_, at) => at !== index);

export function movedUp<Item>(items: readonly Item[], index: number): Item[] {
  const moved = [...items];
  moved.splice(Math.max(0, index - 1), 0, ...moved.splice(index, 1));
  return moved;
}

interface Given {
  readonly key: string;
  readonly value: unknown;
  readonly start_ts: number | null;
  readonly end_ts: number | null;
}

// What the game takes of what it is given: the last entry of a key that is in force.
export function inForce(given: readonly Given[], now: number): Map<string, string> {
  const values = new Map<string, string>();
  for (const {key, value, start_ts, end_ts} of given)
    if ((start_ts ?? 0) <= now && now < (end_ts ?? Infinity)) values.set(key, textOfValue(value));
  return values;
}
