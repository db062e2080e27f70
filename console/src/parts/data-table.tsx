// A table that sorts by any of its columns, and is there as CSV.
import type {ComponentChildren} from "preact";
import {useState} from "preact/hooks";
import type {Cell} from "../api";
import {csvOf, keepFile} from "../csv";
import {number} from "../format";
import {byVersion, type Row} from "../rows";

export interface Column {
  readonly name: string; // in the rows
  readonly title: string;
  readonly show?: (value: Cell, row: Row) => ComponentChildren; // else the number or the text
}

interface Props {
  caption: string;
  file: string; // of the CSV, without its ending
  columns: readonly Column[];
  rows: readonly Row[];
  sort?: string; // the column that it is first sorted by, the largest first
  order?: 1 | -1;
}

const STEP = 100; // more at once only slow the page down

// What has no value comes last, whichever way it is sorted.
function compare(one: Cell | undefined, other: Cell | undefined, order: 1 | -1): number {
  const missing = Number(one === null || one === undefined) - Number(other === null || other === undefined);
  if (missing !== 0 || one === null || one === undefined || other === null || other === undefined) return missing;
  if (typeof one === "number" && typeof other === "number") return order * (one - other);
  return order * byVersion(String(one), String(other));
}

function shown(column: Column, row: Row): ComponentChildren {
  const value = row[column.name] ?? null;
  if (column.show) return column.show(value, row);
  return typeof value === "number" ? number(value) : value === "" ? <span class="none">none</span> : value;
}

const MANY = 7; // columns, of which more have to stand closer
const FEW = 24; // characters that aren't broken into lines

export function DataTable({caption, file, columns, rows, sort, order = -1}: Props) {
  const [by, setBy] = useState<{name: string; order: 1 | -1} | null>(sort === undefined ? null : {name: sort, order});
  const [most, setMost] = useState(STEP);
  const sorted = by === null ? rows : [...rows].sort((one, other) => compare(one[by.name], other[by.name], by.order));
  const isNumber = (name: string) => rows.some((row) => typeof row[name] === "number");
  const hasFew = (name: string) => rows.every((row) => String(row[name] ?? "").length <= FEW);
  const kinds = new Map(
    columns.map(({name}) => [name, isNumber(name) ? "of-numbers" : hasFew(name) ? "of-few" : "of-words"]),
  );
  const turn = (name: string) =>
    setBy({name, order: by?.name === name ? (by.order === 1 ? -1 : 1) : isNumber(name) ? -1 : 1});
  const keep = () =>
    keepFile(
      `${file}.csv`,
      "text/csv",
      csvOf(
        columns.map((each) => each.title),
        sorted.map((row) => columns.map((each) => row[each.name] ?? null)),
      ),
    );
  return (
    <div class="table">
      <div class="wide" tabIndex={0} role="region" aria-label={caption}>
        <table class={columns.length > MANY ? "dense" : ""}>
          <caption>{caption}</caption>
          <thead>
            <tr>
              {columns.map(({name, title}) => (
                <th
                  key={name}
                  scope="col"
                  class={kinds.get(name)}
                  aria-sort={by?.name !== name ? undefined : by.order === 1 ? "ascending" : "descending"}
                >
                  <button type="button" onClick={() => turn(name)}>
                    {title}
                  </button>
                </th>
              ))}
            </tr>
          </thead>
          <tbody>
            {sorted.slice(0, most).map((row, index) => (
              <tr key={index}>
                {columns.map((column, at) => {
                  const Place = at === 0 ? "th" : "td"; // the first column says what the row is about
                  return (
                    <Place
                      key={column.name}
                      scope={at === 0 ? "row" : undefined}
                      dir={typeof row[column.name] === "string" ? "auto" : undefined}
                      class={kinds.get(column.name)}
                    >
                      {shown(column, row)}
                    </Place>
                  );
                })}
              </tr>
            ))}
          </tbody>
        </table>
      </div>
      <p class="under">
        {sorted.length > most && (
          <button type="button" onClick={() => setMost(most + STEP)}>
            Show {Math.min(STEP, sorted.length - most)} more of {number(sorted.length)}
          </button>
        )}
        <button type="button" onClick={keep}>
          Keep as CSV
        </button>
      </p>
    </div>
  );
}
