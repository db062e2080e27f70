// A table of shares, each cell the darker the larger its share is.
import {csvOf, keepFile} from "../csv";
import {wholeShare} from "../format";

export interface HeatRow {
  readonly title: string;
  readonly size: string;
  readonly shares: readonly (number | null)[]; // null: there is nothing to say yet
}

interface Props {
  caption: string;
  file: string;
  corner: string;
  sizeTitle: string;
  columns: readonly string[];
  rows: readonly HeatRow[];
}

export function HeatMap({caption, file, corner, sizeTitle, columns, rows}: Props) {
  const keep = () =>
    keepFile(
      `${file}.csv`,
      "text/csv",
      csvOf(
        [corner, sizeTitle, ...columns],
        rows.map((row) => [row.title, row.size, ...row.shares]),
      ),
    );
  return (
    <div class="table">
      <div class="wide" tabIndex={0} role="region" aria-label={caption}>
        <table class="heat">
          <caption>{caption}</caption>
          <thead>
            <tr>
              <th scope="col">{corner}</th>
              <th scope="col" class="of-numbers">
                {sizeTitle}
              </th>
              {columns.map((column) => (
                <th key={column} scope="col" class="of-numbers">
                  {column}
                </th>
              ))}
            </tr>
          </thead>
          <tbody>
            {rows.map((row) => (
              <tr key={row.title}>
                <th scope="row">{row.title}</th>
                <td class="of-numbers">{row.size}</td>
                {row.shares.map((value, index) =>
                  value === null ? (
                    <td key={index} />
                  ) : (
                    <td
                      key={index}
                      class="of-numbers"
                      style={{"--heat-of": `${Math.round(Math.min(1, value) * 100)}%`}}
                    >
                      {wholeShare(value)}
                    </td>
                  ),
                )}
              </tr>
            ))}
          </tbody>
        </table>
      </div>
      <p class="under">
        <button type="button" onClick={keep}>
          Keep as CSV
        </button>
      </p>
    </div>
  );
}
