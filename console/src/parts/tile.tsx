// One number, and how it stands against the time before.
import type {ComponentChildren} from "preact";
import {change, number} from "../format";

interface Props {
  label: string;
  value: number | null;
  before?: number | null;
  format: (value: number | null) => string;
  good?: "more" | "less"; // which way is good
  note?: string;
}

// Many times as much is no percentage that anybody reads.
const changeOf = (share: number): string => (share >= 4 ? `${number(Math.round(share + 1))} times` : change(share));

function Difference({
  value,
  before,
  format,
  good,
}: Required<Pick<Props, "value" | "before" | "format">> & {good?: "more" | "less"}) {
  if (before === null || value === null) return <p class="before">nothing to compare with</p>;
  const share = before === 0 ? null : value / before - 1;
  const isSame = share !== null && Math.abs(share) < 0.0005;
  const isGood = share !== null && !isSame && good !== undefined && share > 0 === (good === "more");
  const kind = good === undefined || share === null || isSame ? "same" : isGood ? "good" : "bad";
  return (
    <p class="before">
      {share !== null && <span class={`change ${kind}`}>{isSame ? "no change" : changeOf(share)}</span>} from{" "}
      {format(before)}
    </p>
  );
}

export function Tile({label, value, before, format, good, note}: Props) {
  return (
    <div class="tile">
      <dt>{label}</dt>
      <dd>
        <span class="number">{format(value)}</span>
        {before !== undefined && <Difference value={value} before={before} format={format} good={good} />}
        {note !== undefined && <p class="before">{note}</p>}
      </dd>
    </div>
  );
}

export function Tiles({children}: {children: ComponentChildren}) {
  return <dl class="tiles">{children}</dl>;
}
