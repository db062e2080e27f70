// What was asked and what became of it. Asking something else, or leaving the page, aborts what is under way.
import {useEffect, useState} from "preact/hooks";
import {ask, type QuestionName, type Table} from "./api";
import {FILTERS, useView, type Values} from "./address";
import {rowsOf, type Row} from "./rows";

export interface Asked<T> {
  readonly value?: T; // of the question before, while the next one is under way
  readonly failure?: string;
  readonly isAsking: boolean;
  readonly again: () => void;
}

export const wordsOf = (failure: unknown): string => (failure instanceof Error ? failure.message : String(failure));

// `key` says what is asked: another one is another question.
export function useAsked<T>(key: string, asking: (signal: AbortSignal) => Promise<T>): Asked<T> {
  const [times, setTimes] = useState(0);
  const [outcome, setOutcome] = useState<{key?: string; value?: T; failure?: string}>({});
  const whole = `${key} ${times}`;
  useEffect(() => {
    const controller = new AbortController();
    asking(controller.signal).then(
      (value) => setOutcome({key: whole, value}),
      (failure) => controller.signal.aborted || setOutcome({key: whole, failure: wordsOf(failure)}),
    );
    return () => controller.abort();
  }, [whole]);
  return {...outcome, isAsking: outcome.key !== whole, again: () => setTimes((asked) => asked + 1)};
}

// For what is asked again by itself: the answer before stays as it is meanwhile.
export const quietly = <T>(asked: Asked<T>): Asked<T> => ({
  ...asked,
  isAsking: asked.isAsking && asked.value === undefined,
});

// Several answers as one: all of them are needed.
export function together<Parts extends readonly Asked<unknown>[]>(
  ...parts: Parts
): Asked<{[Index in keyof Parts]: Parts[Index] extends Asked<infer T> ? T : never}> {
  const failed = parts.find((part) => part.failure !== undefined);
  const isThere = parts.every((part) => part.value !== undefined);
  return {
    value: isThere ? (parts.map((part) => part.value) as never) : undefined,
    failure: failed?.failure,
    isAsking: parts.some((part) => part.isAsking),
    again: () => parts.filter((part) => part.failure !== undefined).forEach((part) => part.again()),
  };
}

export type Own = Readonly<Record<string, string | number | undefined>>;

// The bar on top as parameters of a question.
export function filtersOf(values: Values): Record<string, string> {
  const names = ["game", "from", "to", ...FILTERS];
  return Object.fromEntries(names.flatMap((name) => (values[name] === undefined ? [] : [[name, values[name]]])));
}

export interface Answer {
  readonly rows: readonly Row[];
  readonly complete: boolean;
}

// Who asks for so many rows knows that there may be more.
const answerOf = (table: Table, own: Own): Answer => ({
  rows: rowsOf(table),
  complete: table.complete || own.limit !== undefined,
});

// A question under the bar on top; a parameter that is undefined is left out, also one of the bar. Another number of times
// asks the same again.
export function useQuestion(name: QuestionName, own: Own = {}, times = 0): Asked<Answer> {
  const parameters = {...filtersOf(useView().values), ...own};
  return useAsked(JSON.stringify([name, parameters, times]), async (signal) =>
    answerOf(await ask(name, parameters, signal), own),
  );
}

// The same question several times, such as once for each build.
export function useQuestions(name: QuestionName, owns: readonly Own[]): Asked<readonly Answer[]> {
  const values = filtersOf(useView().values);
  const all = owns.map((own) => ({...values, ...own}));
  return useAsked(JSON.stringify([name, all]), (signal) =>
    Promise.all(all.map(async (parameters) => answerOf(await ask(name, parameters, signal), parameters))),
  );
}
