// Whether a currency of the game inflates, in a sentence.
import {number, short} from "./format";
import {ratio, sumOf, textOf, type Row} from "./rows";

const MUCH = 1.1; // earned for each that is spent: more is called inflation
const STEP = 0.05; // a smaller change of that is called none

const earnedForEach = (days: readonly Row[]): number | null => ratio(sumOf(days, "earned"), sumOf(days, "spent"));

function trendOf(days: readonly Row[]): string {
  const inOrder = [...days].sort((one, other) => (textOf(one.day) < textOf(other.day) ? -1 : 1));
  const middle = Math.floor(inOrder.length / 2);
  const early = earnedForEach(inOrder.slice(0, middle));
  const late = earnedForEach(inOrder.slice(middle));
  if (early === null || late === null) return "";
  const change = late / early - 1;
  const word = Math.abs(change) < STEP ? "steady" : change > 0 ? "rising" : "falling";
  return `, ${word}: ${number(early)} in the first half of this time, ${number(late)} in the second`;
}

// `days`: rows of the question economy, of one currency.
export function outlookOf(currency: string, days: readonly Row[]): string {
  const each = earnedForEach(days);
  const earned = sumOf(days, "earned");
  if (each === null)
    return `The currency ${currency} has no sinks in this time: all of the ${short(earned)} earned stay.`;
  if (earned === 0) return `The currency ${currency} has no sources in this time: it is only spent.`;
  const what = each > MUCH ? "inflates" : each < 1 / MUCH ? "gets scarce" : "is in balance";
  return `The currency ${currency} ${what}: ${number(each)} are earned for each one spent${trendOf(days)}.`;
}
