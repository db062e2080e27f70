// One number, and how it stands against the time before.
import type {ComponentChildren} from "preact";
import {change, number} from "../format";

interface Props {
  label: string;
  value: number | null;
  before?: number | null;
  format: (value: number | null) => string;
  good?: "more" | "less"; // which way is good
  isShare?: boolean; // its change is one of points, not a share of a share
  note?: string;
}

// Many times as much is no percentage that anybody reads.
const MULTIPLE = 4;
const changeOf = (share: number): string =>
  share >= MULTIPLE ? `${number(Math.round(share + 1))} times` : change(share);

// Of a hundred.
const points = (difference: number): string =>
  `${difference > 0 ? "+" : ""}${number(Math.round(difference * 1000) / 10)} points`;

function Difference({value, before, format, good, isShare = false}: Omit<Props, "label" | "note">) {
  if (before === undefined || before === null || value === null) return <p class="before">nothing to compare with</p>;
  const by = isShare ? value - before : before === 0 ? null : value / before - 1;
  const isMultiple = !isShare && by !== null && by >= MULTIPLE;
  const isSame = by !== null && Math.abs(by) < 0.0005;
  const isGood = by !== null && !isSame && good !== undefined && by > 0 === (good === "more");
  const kind = good === undefined || by === null || isSame ? "same" : isGood ? "good" : "bad";
  return (
    <p class="before">
      {by !== null && (
        <span class={`change ${kind}`}>{isSame ? "no change" : isShare ? points(by) : changeOf(by)}</span>
      )}{" "}
      {isMultiple ? `the ${format(before)} before` : `from ${format(before)}`}
    </p>
  );
}

export function Tile({label, value, before, format, good, isShare, note}: Props) {
  return (
    <div class="tile">
      <dt>{label}</dt>
      <dd>
        <span class="number">{format(value)}</span>
        {before !== undefined && (
          <Difference value={value} before={before} format={format} good={good} isShare={isShare} />
        )}
        {note !== undefined && <p class="before">{note}</p>}
      </dd>
    </div>
  );
}

export function Tiles({children}: {children: ComponentChildren}) {
  return <dl class="tiles">{children}</dl>;
}
