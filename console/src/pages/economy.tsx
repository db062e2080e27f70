// Whether the game's own currencies inflate: what flows in and out, and what players hold of what they gained.
import {go, useView} from "../address";
import {together, useQuestion} from "../asked";
import {CALLS} from "../calls";
import {dayStart, eachDay, today} from "../days";
import {number, short, whole} from "../format";
import {Chart} from "../parts/chart";
import {DataTable} from "../parts/data-table";
import {Section} from "../parts/section";
import {Answered, Empty} from "../parts/states";
import {Tile, Tiles} from "../parts/tile";
import {byDay, numberOf, ratio, textOf, type Row} from "../rows";

const FLOWS = [
  {name: "sources", title: "Sources"},
  {name: "players_earning", title: "Players earning"},
  {name: "earned", title: "Earned"},
  {name: "sinks", title: "Sinks"},
  {name: "players_spending", title: "Players spending"},
  {name: "spent", title: "Spent"},
  {name: "balance", title: "Balance"},
];

const runningSum = (values: readonly (number | null)[]): number[] => {
  let sum = 0;
  return values.map((value) => (sum += value ?? 0));
};

// What inflates has more and more coming in for each that goes out.
const inflation = (row: Row): number | null => ratio(numberOf(row.earned), numberOf(row.spent));

function Currency({rows, players}: {rows: readonly Row[]; players: number}) {
  const view = useView();
  const {from = "", to = "", currency} = view.values;
  const days = eachDay(from, to < today() ? to : today());
  // the one that inflates most comes first
  const currencies = [...rows]
    .sort((one, other) => numberOf(inflation(other)) - numberOf(inflation(one)))
    .map((row) => textOf(row.currency));
  const chosen = currency !== undefined && currencies.includes(currency) ? currency : currencies[0]!;
  const of = rows.find((row) => row.currency === chosen)!;
  return (
    <>
      <label class="choice">
        Currency
        <select value={chosen} onChange={({currentTarget: {value}}) => go(view, {currency: value})}>
          {currencies.map((each) => (
            <option key={each}>{each}</option>
          ))}
        </select>
      </label>
      <Tiles>
        <Tile label="Earned" value={numberOf(of.earned)} format={short} />
        <Tile label="Spent" value={numberOf(of.spent)} format={short} />
        <Tile label="Earned for each spent" value={inflation(of)} format={number} />
        <Tile label="Held of it, per player" value={ratio(numberOf(of.balance), players)} format={number} />
      </Tiles>
      <Answered of={useQuestion("economy", {by: "currency", daily: "yes"})} what="the days">
        {(daily) => {
          const own = daily.rows.filter((row) => row.currency === chosen);
          const x = days.map(dayStart);
          const values = (value: (row: Row) => number | null) => byDay(own, days, value);
          return (
            <>
              <Chart
                title={`${chosen}: earned and spent by day`}
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
                  title={`${chosen}: held per player of this time`}
                  file="held"
                  x={x}
                  xTitle="Day"
                  format={number}
                  series={[
                    {
                      label: "Held",
                      values: runningSum(values((row) => numberOf(row.balance))).map((sum) => ratio(sum, players)),
                    },
                  ]}
                />
                <Chart
                  title={`${chosen}: what one player earns and spends in a day`}
                  file="per-player"
                  x={x}
                  xTitle="Day"
                  format={number}
                  series={[
                    {
                      label: "Earned",
                      values: values((row) => ratio(numberOf(row.earned), numberOf(row.players_earning))),
                    },
                    {
                      label: "Spent",
                      values: values((row) => ratio(numberOf(row.spent), numberOf(row.players_spending))),
                    },
                  ]}
                />
              </div>
            </>
          );
        }}
      </Answered>
      <Answered of={useQuestion("economy", {by: "currency,item_type,item_id"})} what="the goods">
        {(goods) => (
          <DataTable
            caption={`${chosen}: what it comes from and goes to`}
            file="goods"
            rows={goods.rows.filter((row) => row.currency === chosen)}
            columns={[{name: "item_type", title: "Item type"}, {name: "item_id", title: "Item"}, ...FLOWS]}
          />
        )}
      </Answered>
    </>
  );
}

export function Economy() {
  const asked = together(useQuestion("economy"), useQuestion("overview", {whole: "yes"}));
  return (
    <Answered of={asked} what="the currencies">
      {([{rows}, overview]) =>
        rows.length === 0 ? (
          <Empty what="sources or sinks" call={CALLS.resource} />
        ) : (
          <>
            <Section
              title="All currencies"
              rows={{category: "resource"}}
              how="Sums of what the game reported as sources and sinks. The balance is what players of this time gained together, not what they own: what came before isn't in it. A currency inflates where much more is earned for each that is spent."
            >
              <DataTable
                caption="Currencies"
                file="currencies"
                rows={rows.map((row) => ({...row, inflation: inflation(row)}))}
                columns={[
                  {name: "currency", title: "Currency"},
                  ...FLOWS,
                  {name: "inflation", title: "Earned for each spent"},
                ]}
              />
            </Section>
            <Section
              title="One currency"
              rows={{category: "resource"}}
              how={`Held per player is the balance since the first day of this time, divided by its ${whole(numberOf(overview.rows[0]?.players))} players. What one player earns in a day is divided by those who earned on it, and the same for spending.`}
            >
              <Currency rows={rows} players={numberOf(overview.rows[0]?.players)} />
            </Section>
          </>
        )
      }
    </Answered>
  );
}
