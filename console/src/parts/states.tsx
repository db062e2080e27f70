// What stands where an answer will be: that it is asked for, why there is none, or what would fill it.
import type {ComponentChildren} from "preact";
import {FILTERS, go, UNFILTERED, useView} from "../address";
import type {Asked} from "../asked";
import {day} from "../format";

export function Loading({what}: {what: string}) {
  return (
    <p class="still" role="status">
      Asking the collector for {what}.
    </p>
  );
}

export function Trouble({what, why, again}: {what: string; why: string; again?: () => void}) {
  return (
    <div class="trouble" role="alert">
      <p>
        <strong>There is no answer about {what}:</strong> {why}.
      </p>
      {again && (
        <button type="button" onClick={again}>
          Try again
        </button>
      )}
    </div>
  );
}

// `call`: the line of code that a game would fill this with.
export function Empty({what, call}: {what: string; call?: string}) {
  const view = useView();
  const isFiltered = FILTERS.some((name) => view.values[name] !== undefined);
  return (
    <div class="empty">
      <p>
        There are no {what} {view.values.game === undefined ? "yet" : "in this time"}
        {isFiltered && ", with these filters"}.
      </p>
      {isFiltered && call !== undefined && (
        <p>
          <button type="button" onClick={() => go(view, UNFILTERED)}>
            No filters
          </button>
        </p>
      )}
      {call !== undefined && (
        <>
          <p>A game reports them with:</p>
          <pre>
            <code>{call}</code>
          </pre>
        </>
      )}
    </div>
  );
}

// Where the charts by day begin, if that is later than what was asked for.
export function Beginning({what, days, from}: {what: string; days: readonly string[]; from: string}) {
  const [first] = days;
  if (first === undefined || first <= from) return null;
  return (
    <p class="note">
      In this time there are no {what} before {day(first)}.
    </p>
  );
}

// Whether an answer, or one of several, has its first rows only.
function isCut(value: unknown): boolean {
  if (Array.isArray(value)) return value.some(isCut);
  return typeof value === "object" && value !== null && "complete" in value && value.complete === false;
}

// The answer once it is there; while the next one is asked for, the one before it stays.
export function Answered<T>({
  of,
  what,
  children,
}: {
  of: Asked<T>;
  what: string;
  children: (value: T) => ComponentChildren;
}) {
  if (of.failure !== undefined && !of.isAsking) return <Trouble what={what} why={of.failure} again={of.again} />;
  if (of.value === undefined) return <Loading what={what} />;
  return (
    <div class={of.isAsking ? "answer asking" : "answer"} aria-busy={of.isAsking}>
      {of.isAsking && (
        <p class="again" role="status">
          Asking again.
        </p>
      )}
      {isCut(of.value) && (
        <p class="warning">
          These numbers aren't complete: there are more rows than one answer may have. Ask for fewer days, or filter
          more.
        </p>
      )}
      {children(of.value)}
    </div>
  );
}
