// Answers row by row, by the names of their columns.
import type {Cell, Table} from "./api";
import {eachDay, today} from "./days";

export type Row = Readonly<Record<string, Cell>>;

export function rowsOf(table: Table): Row[] {
  return table.rows.map((row) => Object.fromEntries(table.columns.map((name, index) => [name, row[index] ?? null])));
}

export const numberOf = (cell: Cell | undefined): number => (typeof cell === "number" ? cell : 0);
export const numberOrNull = (cell: Cell | undefined): number | null => (typeof cell === "number" ? cell : null);
export const textOf = (cell: Cell | undefined): string => (cell === null || cell === undefined ? "" : String(cell));
export const ratio = (of: number, to: number): number | null => (to === 0 ? null : of / to);

// The order of versions, and of whatever else has numbers in it: 1.9 comes before 1.10.
export const byVersion = new Intl.Collator(undefined, {numeric: true}).compare;

export function sumOf(rows: readonly Row[], column: string): number {
  return rows.reduce((sum, row) => sum + numberOf(row[column]), 0);
}

export function groupedBy<Item>(items: readonly Item[], key: (item: Item) => string): Map<string, Item[]> {
  const groups = new Map<string, Item[]>();
  for (const item of items) {
    const group = groups.get(key(item));
    if (group) group.push(item);
    else groups.set(key(item), [item]);
  }
  return groups;
}

// The days of a time up to today, from the first on that has data: a year isn't drawn for a game of a month.
export function daysWithData(rows: readonly Row[], from: string, to: string): string[] {
  const first = rows.map((row) => textOf(row.day)).reduce((least, day) => (day < least ? day : least), "9999-12-31");
  return eachDay(first > from ? first : from, to < today() ? to : today());
}

// The column's values for each of the days; where nothing was counted 0, or null of what isn't a count.
export function byDay(
  rows: readonly Row[],
  days: readonly string[],
  value: (row: Row) => number | null,
  none: number | null = 0,
): (number | null)[] {
  const found = new Map(rows.map((row) => [textOf(row.day), value(row)]));
  return days.map((day) => (found.has(day) ? found.get(day)! : none));
}

// The currencies of purchases, that of the most first.
export function currenciesOf(rows: readonly Row[]): string[] {
  const groups = groupedBy(rows, (row) => textOf(row.currency));
  return [...groups].sort((one, other) => sumOf(other[1], "events") - sumOf(one[1], "events")).map(([name]) => name);
}
