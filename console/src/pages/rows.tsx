// The rows behind a number: the events themselves, the newest first, as the question of that number filters them.
import {useEffect, useRef} from "preact/hooks";
import {addressElsewhere, addressOf, changed, sharedOf, useView} from "../address";
import {filtersOf, useQuestion} from "../asked";
import {questionUrl, type Cell} from "../api";
import {wordsOfEvent} from "../events";
import {moment, whole} from "../format";
import {DataTable} from "../parts/data-table";
import {Record} from "../parts/record";
import {Section} from "../parts/section";
import {Answered, Empty} from "../parts/states";
import {numberOrNull, sumOf, textOf, type Row} from "../rows";

const MOST = 200;
const LONGEST = 300; // characters of an event in words

const shortOf = (value: Cell): string => textOf(value).slice(0, LONGEST);

// Names the row in the address: by then there may be newer ones before it.
const idOf = (row: Row): string => /"event_uuid": ?"([^"]+)"/.exec(textOf(row.record))?.[1] ?? "";

function Chosen({row}: {row: Row | undefined}) {
  const view = useView();
  const place = useRef<HTMLDivElement>(null);
  useEffect(() => place.current?.focus(), [row && idOf(row)]); // what was pressed may be far below
  const close = addressOf({page: view.page, values: changed(view.values, {row: undefined})});
  const leave = ({key}: KeyboardEvent) => key === "Escape" && (location.hash = close);
  return (
    <div ref={place} tabIndex={-1} class="chosen" onKeyDown={leave}>
      <Section title="The record">
        {row ? (
          <Record record={row.record} />
        ) : (
          <p class="note">It is no longer among the latest {MOST}: choose fewer days, or look at its player.</p>
        )}
        <p>
          <a href={close}>Close it</a>
        </p>
      </Section>
    </div>
  );
}

// How many there are, where that is known: of one kind or of all the question `events` counts them.
function Count({own, shown}: {own: Readonly<Record<string, string>>; shown: number}) {
  const {category, ...others} = own;
  const asked = useQuestion("events");
  const rows = asked.value?.rows ?? [];
  const counted = sumOf(category === undefined ? rows : rows.filter((row) => row.category === category), "events");
  if (shown < MOST) return <p>{shown === 1 ? "This is the only one." : `These are all ${whole(shown)}.`}</p>;
  if (asked.isAsking) return <p>The latest {MOST}.</p>;
  if (Object.keys(others).length > 0 || counted < shown) return <p>The latest {MOST}: there may be more.</p>;
  return (
    <p>
      The latest {MOST} of {whole(counted)}.
    </p>
  );
}

export function Rows() {
  const view = useView();
  const shared = sharedOf(view.values);
  const own = Object.fromEntries(Object.entries(view.values).filter(([name]) => !(name in shared) && name !== "row"));
  const asked = useQuestion("rows", {...own, limit: MOST});
  const what = Object.entries(own)
    .map(([name, value]) => `${name} is ${value === "" ? "empty" : value}`)
    .join(", ");
  const open = view.values.row;
  const csv = questionUrl("rows", {...filtersOf(view.values), ...own, limit: 1000, form: "csv"});
  return (
    <>
      {open !== undefined && asked.value && <Chosen row={asked.value.rows.find((row) => idOf(row) === open)} />}
      <Section
        title={what === "" ? "All events" : `Events whose ${what}`}
        how={`The latest ${MOST} that the bar on top and this page's own filter leave, by the time of the device.`}
      >
        <Answered of={asked} what="the rows">
          {({rows}) =>
            rows.length === 0 ? (
              <Empty what="events of this kind" />
            ) : (
              <>
                <Count own={own} shown={rows.length} />
                <p>
                  <a href={csv} download="rows.csv">
                    Keep the latest 1,000 as CSV
                  </a>
                </p>
                <DataTable
                  caption="Events"
                  file="rows"
                  rows={rows}
                  columns={[
                    {
                      name: "client_ts",
                      title: "Time",
                      show: (value, row) => (
                        <a href={addressOf({page: view.page, values: changed(view.values, {row: idOf(row)})})}>
                          {value === null ? "without a time" : moment(numberOrNull(value))}
                        </a>
                      ),
                    },
                    {name: "category", title: "Kind"},
                    {
                      name: "record",
                      title: "What",
                      show: (value, row) => (
                        <bdi class="short">{wordsOfEvent(textOf(row.category), value).slice(0, LONGEST)}</bdi>
                      ),
                    },
                    {
                      name: "user_id",
                      title: "Player",
                      show: (value) => (
                        <a
                          class="cut"
                          title={shortOf(value)}
                          href={addressElsewhere(view, "players", {player: textOf(value)})}
                        >
                          {shortOf(value)}
                        </a>
                      ),
                    },
                    {name: "platform", title: "Platform"},
                    {name: "build", title: "Build"},
                  ]}
                />
              </>
            )
          }
        </Answered>
      </Section>
    </>
  );
}
