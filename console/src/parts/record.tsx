// A record as the game sent it: readable JSON, in which fields can be marked.

// Longer ones would stall the page; whoever needs them whole exports them.
const MOST = 20_000;

function readable(record: unknown): string {
  if (typeof record !== "string") return JSON.stringify(record, null, 2) ?? "";
  try {
    return JSON.stringify(JSON.parse(record), null, 2);
  } catch {
    return record.replace(/,(?=")/g, ",\n  "); // its beginning only
  }
}

// `marked`: names of fields, whose lines stand out.
export function Record({record, marked = []}: {record: unknown; marked?: readonly string[]}) {
  const text = readable(record);
  const lines = text.slice(0, MOST).split("\n");
  return (
    <pre class="record" dir="ltr" tabIndex={0} role="region" aria-label="The record as JSON">
      <code>
        {lines.map((line, index) => {
          const name = /^[\s{]*"([^"]+)":/.exec(line)?.[1];
          return name !== undefined && marked.includes(name) ? (
            <mark key={index}>
              {line}
              {"\n"}
            </mark>
          ) : (
            <span key={index}>
              {line}
              {"\n"}
            </span>
          );
        })}
        {text.length > MOST && `and ${text.length - MOST} more characters`}
      </code>
    </pre>
  );
}
