// UTC days as the API writes them, "2026-11-22", and as numbers since 1970.

const DAY_MS = 86_400_000;

export const dayText = (day: number): string => new Date(day * DAY_MS).toISOString().slice(0, 10);
export const dayNumber = (text: string): number => Math.floor(Date.parse(`${text}T00:00:00Z`) / DAY_MS);
export const dayStart = (text: string): number => dayNumber(text) * (DAY_MS / 1000); // seconds
export const isDay = (text: string | undefined): text is string =>
  text !== undefined && /^\d{4}-\d\d-\d\d$/.test(text) && dayNumber(text) >= 0 && dayText(dayNumber(text)) === text;
export const today = (): string => dayText(Math.floor(Date.now() / DAY_MS));
export const daysLater = (text: string, days: number): string => dayText(dayNumber(text) + days);
export const daysIn = (from: string, to: string): number => dayNumber(to) - dayNumber(from) + 1;

export function eachDay(from: string, to: string): string[] {
  return Array.from({length: Math.max(0, daysIn(from, to))}, (_, index) => daysLater(from, index));
}

// The time of the same length that ended the day before.
export function periodBefore(from: string, to: string): {from: string; to: string} {
  return {
    from: dayText(Math.max(0, dayNumber(from) - daysIn(from, to))),
    to: dayText(Math.max(0, dayNumber(from) - 1)),
  };
}
