// What players pay: purchases by item and currency, payers, and the revenue of ads.
import {useView} from "../address";
import {together, useQuestion} from "../asked";
import {CALLS} from "../calls";
import {dayStart} from "../days";
import {money, moneyShort, moneyWhole, share, unitsOf, whole} from "../format";
import {Chart} from "../parts/chart";
import {Choice} from "../parts/choice";
import {DataTable} from "../parts/data-table";
import {Section} from "../parts/section";
import {Answered, Beginning, Empty} from "../parts/states";
import {Tile, Tiles} from "../parts/tile";
import {byDay, currenciesOf, daysWithData, numberOf, numberOrNull, ratio, sumOf, textOf, type Row} from "../rows";

function Purchases() {
  const overview = useQuestion("overview", {whole: "yes"});
  const all = useQuestion("revenue", {by: ""});
  const byCurrency = useQuestion("revenue");
  return (
    <Answered of={together(overview, all, byCurrency)} what="the purchases">
      {([whole_, together_, {rows}]) => {
        const players = numberOf(whole_.rows[0]?.players);
        const payers = numberOf(together_.rows[0]?.players);
        if (rows.length === 0) return <Empty what="purchases" call={CALLS.purchase} />;
        return (
          <>
            <Tiles>
              <Tile label="Purchases" value={sumOf(rows, "events")} format={whole} />
              <Tile label="Payers" value={payers} format={whole} />
              <Tile label="Players who pay" value={ratio(payers, players)} format={share} />
            </Tiles>
            <DataTable
              caption="Revenue by currency"
              file="revenue-by-currency"
              sort="events"
              rows={rows.map((row) => ({
                ...row,
                per_player: ratio(numberOf(row.total), players),
                per_payer: ratio(numberOf(row.total), numberOf(row.players)),
                mean: ratio(numberOf(row.total), numberOf(row.events)),
              }))}
              columns={[
                {name: "currency", title: "Currency"},
                {name: "events", title: "Purchases"},
                {name: "players", title: "Payers"},
                ...(
                  [
                    ["total", "Revenue"],
                    ["mean", "A purchase"],
                    ["per_payer", "Per paying player"],
                    ["per_player", "Per player"],
                  ] as const
                ).map(([name, title]) => ({
                  name,
                  title,
                  show: (value: unknown, row: {readonly currency?: unknown}) =>
                    money(value as number | null, String(row.currency)),
                })),
              ]}
            />
          </>
        );
      }}
    </Answered>
  );
}

function Days() {
  const view = useView();
  const {from = "", to = "", currency} = view.values;
  return (
    <Answered of={useQuestion("revenue", {daily: "yes"})} what="the days">
      {({rows}) => {
        const currencies = currenciesOf(rows);
        const chosen = currency !== undefined && currencies.includes(currency) ? currency : currencies[0];
        if (chosen === undefined) return <Empty what="purchases" />;
        const purchases = rows.filter((row) => row.currency === chosen);
        const days = daysWithData(rows, from, to);
        const x = days.map(dayStart);
        return (
          <>
            <Choice title="Currency" name="currency" value={chosen} values={currencies} />
            <Beginning what="purchases" days={days} from={from} />
            <div class="beside">
              <Chart
                title={`Revenue in ${chosen} by day`}
                file={`revenue-${chosen}`}
                x={x}
                xTitle="Day"
                bars
                format={(value) => moneyWhole(value, chosen)}
                formatAxis={(value) => moneyShort(value, chosen)}
                series={[
                  {
                    label: `Revenue in ${chosen}`,
                    values: byDay(purchases, days, (row) => numberOf(row.total) / unitsOf(chosen)),
                  },
                ]}
              />
              <Chart
                title={`Purchases in ${chosen} by day`}
                file={`purchases-${chosen}`}
                x={x}
                xTitle="Day"
                format={whole}
                series={[
                  {label: "Purchases", values: byDay(purchases, days, (row) => numberOf(row.events))},
                  {label: "Payers", isDashed: true, values: byDay(purchases, days, (row) => numberOf(row.players))},
                ]}
              />
            </div>
          </>
        );
      }}
    </Answered>
  );
}

function Items() {
  return (
    <Answered of={useQuestion("revenue", {by: "item_type,item_id,currency"})} what="the items">
      {({rows}) =>
        rows.length === 0 ? (
          <Empty what="purchases" />
        ) : (
          <DataTable
            caption="Purchases by item and currency"
            file="items"
            sort="events"
            rows={rows}
            columns={[
              // in a narrow window the first ones are in view
              {name: "item_id", title: "Item"},
              {name: "total", title: "Revenue", show: (value, row) => money(numberOrNull(value), textOf(row.currency))},
              {name: "events", title: "Purchases"},
              {name: "players", title: "Payers"},
              {name: "currency", title: "Currency"},
              {name: "item_type", title: "Item type"},
            ]}
          />
        )
      }
    </Answered>
  );
}

// The first day by which at least so many of them had paid.
function dayBy(rows: readonly Row[], players: number): number {
  const inOrder = [...rows].sort((one, other) => numberOf(one.days_later) - numberOf(other.days_later));
  let sum = 0;
  return numberOf(inOrder.find((row) => (sum += numberOf(row.players)) >= players)?.days_later);
}

function FirstPurchases() {
  const asked = together(useQuestion("first_purchases"), useQuestion("overview", {whole: "yes"}));
  return (
    <Answered of={asked} what="the first purchases">
      {([{rows}, overview]) => {
        if (rows.length === 0) return <Empty what="first purchases of new players" />;
        const most = Math.max(...rows.map((row) => numberOf(row.days_later)));
        const x = Array.from({length: most + 1}, (_, index) => index);
        const found = new Map(rows.map((row) => [row.days_later, numberOf(row.players)]));
        const all = sumOf(rows, "players");
        const came = numberOf(overview.rows[0]?.new_players);
        return (
          <>
            <Tiles>
              <Tile
                label="New players who have paid"
                value={ratio(all, came)}
                format={share}
                note={`${whole(all)} of ${whole(came)}`}
              />
              <Tile label="Paid on their first day" value={ratio(found.get(0) ?? 0, all)} format={share} />
              <Tile label="Half of these had paid by" value={dayBy(rows, all / 2)} format={(days) => `day ${days}`} />
              <Tile label="Nine of ten by" value={dayBy(rows, all * 0.9)} format={(days) => `day ${days}`} />
            </Tiles>
            <Chart
              title="Players by when they first paid"
              file="first-purchases"
              x={x}
              xTitle="Days after the first day"
              bars
              format={whole}
              formatX={(value) => `day ${value}`}
              series={[{label: "Players", values: x.map((each) => found.get(each) ?? 0)}]}
            />
          </>
        );
      }}
    </Answered>
  );
}

function Impressions() {
  return (
    <Answered of={together(useQuestion("overview", {whole: "yes"}), useQuestion("impressions"))} what="the impressions">
      {([overview, {rows}]) => {
        const players = numberOf(overview.rows[0]?.players);
        if (rows.length === 0) return <Empty what="impressions" call={CALLS.impression} />;
        const measured = rows.map((row) => ({
          ...row,
          thousand: ratio(numberOf(row.total) * 1000, numberOf(row.events)),
          per_player: ratio(numberOf(row.total), players),
        }));
        return (
          <DataTable
            caption="Revenue of ads by network and currency"
            file="ad-revenue"
            sort="total"
            rows={measured}
            columns={[
              {name: "ad_network", title: "Network"},
              {name: "currency", title: "Currency"},
              {name: "events", title: "Impressions"},
              {name: "players", title: "Players"},
              ...(
                [
                  ["total", "Revenue"],
                  ["thousand", "Per thousand"],
                  ["per_player", "Per player"],
                ] as const
              ).map(([name, title]) => ({
                name,
                title,
                show: (value: unknown, row: {readonly currency?: unknown}) =>
                  moneyWhole(value as number | null, String(row.currency)),
              })),
            ]}
          />
        );
      }}
    </Answered>
  );
}

export function Money() {
  return (
    <>
      <Section
        title="Purchases"
        rows={{category: "business"}}
        how="Purchases as the game reported them, without refunds, receipts not checked. Per player divides by all players of this time, per paying player by those who paid in that currency; different currencies are never added up."
      >
        <Purchases />
      </Section>
      <Section
        title="Day by day"
        rows={{category: "business"}}
        how="The purchases of each UTC day in one currency; nothing is converted."
      >
        <Days />
      </Section>
      <Section
        title="By item"
        rows={{category: "business"}}
        how="Purchases of each item, a row for each currency that it was paid in."
      >
        <Items />
      </Section>
      <Section
        title="How long until the first purchase"
        rows={{category: "business"}}
        how="Of the players whose first day lies in this time, by the days from it to their first purchase. Who came in the last days had little time for one yet."
      >
        <FirstPurchases />
      </Section>
      <Section
        title="Revenue of ads"
        rows={{category: "impression"}}
        how="What the networks stated for the impressions they reported: an estimate of theirs. Per player divides by all players of this time."
      >
        <Impressions />
      </Section>
    </>
  );
}
