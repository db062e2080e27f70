// Whether the game's own currencies inflate: what flows in and out, and what players hold of what they gained.
import {useView} from "../address";
import {together, useQuestion} from "../asked";
import {CALLS} from "../calls";
import {dayStart, eachDay, today} from "../days";
import {number, share, short, whole} from "../format";
import {outlookOf} from "../inflation";
import {Chart} from "../parts/chart";
import {Choice} from "../parts/choice";
import {DataTable, type Column} from "../parts/data-table";
import {Section} from "../parts/section";
import {Answered, Empty} from "../parts/states";
import {Tile, Tiles} from "../parts/tile";
import {byDay, groupedBy, numberOf, numberOrNull, ratio, sumOf, textOf, type Row} from "../rows";

const each = (row: Row): number | null => ratio(numberOf(row.earned), numberOf(row.spent));
const held = (row: Row): number | null => ratio(numberOf(row.balance), numberOf(row.players));
const shareShown = (value: unknown) => (value === null ? "" : share(value as number));

const runningSum = (values: readonly (number | null)[]): number[] => {
  let sum = 0;
  return values.map((value) => (sum += value ?? 0));
};

function useDays(): string[] {
  const {from = "", to = ""} = useView().values;
  return eachDay(from, to < today() ? to : today());
}

// The answer to the page's question, currency by currency.
function Outlook({daily}: {daily: readonly Row[]}) {
  return (
    <ul>
      {[...groupedBy(daily, (row) => textOf(row.currency))].map(([currency, days]) => (
        <li key={currency}>{outlookOf(currency, days)}</li>
      ))}
    </ul>
  );
}

function Currencies({rows}: {rows: readonly Row[]}) {
  return (
    <DataTable
      caption="Currencies"
      file="currencies"
      sort="each"
      rows={rows.map((row) => ({...row, each: each(row), held: held(row)}))}
      columns={[
        {name: "currency", title: "Currency"},
        {name: "earned", title: "Earned"},
        {name: "spent", title: "Spent"},
        {name: "each", title: "Earned for each spent"},
        {name: "balance", title: "Balance"},
        {name: "players", title: "Players"},
        {name: "held", title: "Held per player"},
      ]}
    />
  );
}

// In a narrow window the first ones are in view.
const GOODS: readonly Column[] = [
  {name: "item_id", title: "Item"},
  {name: "earned", title: "Earned"},
  {name: "spent", title: "Spent"},
  {name: "earned_share", title: "Of all earned", show: shareShown},
  {name: "spent_share", title: "Of all spent", show: shareShown},
  {name: "players_earning", title: "Players earning"},
  {name: "players_spending", title: "Players spending"},
  {name: "item_type", title: "Item type"},
];

// Where it comes from and what it goes to, the largest first.
function Goods({currency}: {currency: string}) {
  return (
    <Answered of={useQuestion("economy", {by: "currency,item_type,item_id"})} what="the goods">
      {(goods) => {
        const own = goods.rows.filter((row) => row.currency === currency);
        const moved = (row: Row) => numberOf(row.earned) + numberOf(row.spent);
        const orNone = (row: Row, name: string, reports: string) =>
          numberOf(row[reports]) === 0 ? null : numberOrNull(row[name]);
        return (
          <DataTable
            caption={`${currency}: what it comes from and goes to`}
            file="goods"
            rows={[...own]
              .sort((one, other) => moved(other) - moved(one))
              .map((row) => ({
                item_type: row.item_type ?? null,
                item_id: row.item_id ?? null,
                earned: orNone(row, "earned", "sources"),
                earned_share: numberOf(row.sources) === 0 ? null : ratio(numberOf(row.earned), sumOf(own, "earned")),
                players_earning: orNone(row, "players_earning", "sources"),
                spent: orNone(row, "spent", "sinks"),
                spent_share: numberOf(row.sinks) === 0 ? null : ratio(numberOf(row.spent), sumOf(own, "spent")),
                players_spending: orNone(row, "players_spending", "sinks"),
              }))}
            columns={GOODS}
          />
        );
      }}
    </Answered>
  );
}

function Days({currency, players, daily}: {currency: string; players: number; daily: readonly Row[]}) {
  const days = useDays();
  const x = days.map(dayStart);
  const own = daily.filter((row) => row.currency === currency);
  const values = (value: (row: Row) => number | null) => byDay(own, days, value);
  const perPlayer = (amount: string, who: string) => values((row) => ratio(numberOf(row[amount]), numberOf(row[who])));
  const balance = runningSum(values((row) => numberOf(row.balance)));
  return (
    <>
      <Chart
        title={`${currency}: earned and spent by day`}
        file="flows"
        x={x}
        xTitle="Day"
        format={number}
        series={[
          {label: "Earned", values: values((row) => numberOf(row.earned))},
          {label: "Spent", values: values((row) => numberOf(row.spent))},
        ]}
      />
      <div class="beside">
        <Chart
          title={`${currency}: held per player`}
          file="held"
          x={x}
          xTitle="Day"
          format={number}
          series={[{label: "Held", values: balance.map((sum) => ratio(sum, players))}]}
        />
        <Chart
          title={`${currency}: what one player earns and spends in a day`}
          file="per-player"
          x={x}
          xTitle="Day"
          format={number}
          series={[
            {label: "Earned", values: perPlayer("earned", "players_earning")},
            {label: "Spent", values: perPlayer("spent", "players_spending")},
          ]}
        />
      </div>
    </>
  );
}

function Currency({rows, daily}: {rows: readonly Row[]; daily: readonly Row[]}) {
  const view = useView();
  // the one that inflates most comes first
  const currencies = [...rows]
    .sort((one, other) => (each(other) ?? Infinity) - (each(one) ?? Infinity))
    .map((row) => textOf(row.currency));
  const {currency} = view.values;
  const chosen = currency !== undefined && currencies.includes(currency) ? currency : currencies[0]!;
  const of = rows.find((row) => row.currency === chosen)!;
  return (
    <>
      <Choice title="Currency" name="currency" value={chosen} values={currencies} />
      <Tiles>
        <Tile label="Earned" value={numberOf(of.earned)} format={short} />
        <Tile label="Spent" value={numberOf(of.spent)} format={short} />
        <Tile label="Earned for each spent" value={each(of)} format={number} />
        <Tile
          label="Held per player"
          value={held(of)}
          format={number}
          note={`of ${whole(numberOf(of.players))} who earned or spent it`}
        />
      </Tiles>
      <Days currency={chosen} players={numberOf(of.players)} daily={daily} />
      <Goods currency={chosen} />
    </>
  );
}

export function Economy() {
  const asked = together(useQuestion("economy"), useQuestion("economy", {by: "currency", daily: "yes"}));
  return (
    <Answered of={asked} what="the currencies">
      {([{rows}, daily]) =>
        rows.length === 0 ? (
          <Empty what="sources or sinks" call={CALLS.resource} />
        ) : (
          <>
            <Section
              title="All currencies"
              rows={{category: "resource"}}
              how="Sums of the sources and sinks that the game reported. A currency inflates here where more than 1.1 are earned for each one spent; the balance is what players gained in this time, not what they own."
            >
              <Outlook daily={daily.rows} />
              <Currencies rows={rows} />
            </Section>
            <Section
              title="One currency"
              rows={{category: "resource"}}
              how="Held per player is the balance since the first day of this time, divided by all players who earned or spent the currency in it. What one player earns in a day is divided by those who earned on that day, and the same for spending."
            >
              <Currency rows={rows} daily={daily.rows} />
            </Section>
          </>
        )
      }
    </Answered>
  );
}
