// Players by their first day, and what part of them was there so many days later: the answers of the question retention.
import type {Answer} from "./asked";
import {dayNumber, today} from "./days";
import {share} from "./format";
import {shareInterval} from "./intervals";
import {numberOf, ratio, textOf} from "./rows";

export interface Cohort {
  firstDay: string;
  size: number;
  players: ReadonlyMap<number, number>; // by days later
}

export function cohortsOf({rows}: Answer): Cohort[] {
  const cohorts = new Map<string, Map<number, number>>();
  for (const row of rows) {
    const firstDay = textOf(row.first_day);
    if (!cohorts.has(firstDay)) cohorts.set(firstDay, new Map());
    cohorts.get(firstDay)!.set(numberOf(row.days_later), numberOf(row.players));
  }
  return [...cohorts].map(([firstDay, players]) => ({firstDay, size: players.get(0) ?? 0, players}));
}

// A day counts once it is over, and only when it lies in the time.
export const isOver = (cohort: Cohort, later: number, to: string): boolean => {
  const at = dayNumber(cohort.firstDay) + later;
  return at <= dayNumber(to) && at < dayNumber(today());
};

// Of all cohorts together that have had the day, how many were there.
function countedAfter(cohorts: readonly Cohort[], later: number, to: string): {back: number; all: number} {
  const had = cohorts.filter((cohort) => cohort.size > 0 && isOver(cohort, later, to));
  const of = (value: (cohort: Cohort) => number) => had.reduce((sum, cohort) => sum + value(cohort), 0);
  return {back: of((cohort) => cohort.players.get(later) ?? 0), all: of((cohort) => cohort.size)};
}

export function shareAfter(cohorts: readonly Cohort[], later: number, to: string): number | null {
  const {back, all} = countedAfter(cohorts, later, to);
  return ratio(back, all);
}

// Between what the true share lies in 95 of 100 cases.
export function rangeAfter(cohorts: readonly Cohort[], later: number, to: string): string | null {
  const {back, all} = countedAfter(cohorts, later, to);
  const interval = shareInterval(back, all);
  return interval && `${share(interval.low)} to ${share(interval.high)}`;
}
