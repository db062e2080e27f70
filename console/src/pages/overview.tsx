// How the game is doing: the numbers of the time against those of the time before, and how they went by day and by hour.
import {FILTERS, useView} from "../address";
import {together, useQuestion, type Answer} from "../asked";
import {CALLS} from "../calls";
import {daysIn, daysLater, dayStart, periodBefore, today} from "../days";
import {crashFreeOf} from "../errors";
import {duration, hour, minutes, money, moneyShort, moneyWhole, share, unitsOf, whole} from "../format";
import {Chart} from "../parts/chart";
import {Choice} from "../parts/choice";
import {Section} from "../parts/section";
import {Answered, Beginning, Empty} from "../parts/states";
import {Tile, Tiles} from "../parts/tile";
import {useReleases} from "../releases";
import {byDay, currenciesOf, daysWithData, numberOf, ratio, sumOf, textOf, type Row} from "../rows";

interface Numbers {
  players: number;
  newPlayers: number;
  sessions: number;
  length: number | null;
  revenue: ReadonlyMap<string, number>; // smallest units by currency
  crashFree: number | null;
}

function numbersOf([overview, revenue, errors]: readonly [Answer, Answer, Answer]): Numbers {
  const all = overview.rows[0] ?? {};
  const players = numberOf(all.players);
  return {
    players,
    newPlayers: numberOf(all.new_players),
    sessions: numberOf(all.sessions),
    length: ratio(numberOf(all.seconds), numberOf(all.ended)),
    revenue: new Map(revenue.rows.map((row) => [textOf(row.currency), numberOf(row.total)])), // most purchases first
    crashFree: crashFreeOf(players, errors.rows),
  };
}

function useNumbers(period?: {from: string; to: string}) {
  const whole = useQuestion("overview", {...period, whole: "yes"});
  const revenue = useQuestion("revenue", {...period});
  const errors = useQuestion("errors", {...period, by: "severity"});
  return together(whole, revenue, errors);
}

const WHOLE = 0.8; // of its days: a game or a build that began in the time before doesn't grow as it seems to

// Of fewer days, what is left of today weighs too much for a change to be called good or bad.
const MANY_DAYS = 14;
const OPEN = "Today isn't over";

function wordsOfOpen(days: number): string {
  if (days === 1) return `${OPEN}: there is nothing to compare a part of a day with.`;
  const few = days < MANY_DAYS ? " Of so few days that is much: no change is called good or bad." : "";
  return `${OPEN}: this time is a part of a day shorter than the time before.${few}`;
}

const MOST_CURRENCIES = 6;
type Format = (value: number | null) => string;

function wordsOfBefore(days: number, had: number): string {
  if (days === 1) return "There is nothing to compare with: the day before has no data";
  const some = had === 0 ? "none has" : had === 1 ? "one has" : `${whole(had)} have`;
  return `There is no whole time before to compare with: of its ${whole(days)} days, ${some} data`;
}

function Now() {
  const {values} = useView();
  const {from = "", to = ""} = values;
  const period = periodBefore(from, to);
  const all = together(useNumbers(), useNumbers(period), useQuestion("overview", period));
  return (
    <Answered of={all} what="the numbers of this time and of the one before">
      {([answers, answersBefore, daysBefore]) => {
        const numbers = numbersOf(answers);
        if (numbers.players === 0) return <Empty what="players" call={CALLS.start} />;
        const earlier = numbersOf(answersBefore);
        const days = daysIn(period.from, period.to);
        const had = daysBefore.rows.length;
        const isWhole = had >= days * WHOLE;
        const isOpen = to >= today();
        const isCompared = isWhole && !(isOpen && days === 1);
        const old = (value: number | null) => (isCompared ? value : undefined);
        const tile = (label: string, of: (numbers: Numbers) => number | null, format: Format, isShare = false) => (
          <Tile
            key={label}
            label={label}
            value={of(numbers)}
            before={old(of(earlier))}
            format={format}
            isShare={isShare}
            good={isOpen && days < MANY_DAYS ? undefined : "more"}
          />
        );
        const currencies = [...numbers.revenue.keys()].slice(0, MOST_CURRENCIES);
        return (
          <>
            <Tiles>
              {tile("Players", (of) => of.players, whole)}
              {tile("New players", (of) => of.newPlayers, whole)}
              {tile("Sessions", (of) => of.sessions, whole)}
              {tile("Length of a session", (of) => of.length, duration)}
              {tile("Crash-free players", (of) => of.crashFree, share, true)}
              {currencies.map((currency) =>
                tile(
                  `Revenue in ${currency}`,
                  (of) => of.revenue.get(currency) ?? 0,
                  (value) => money(value, currency),
                ),
              )}
              {currencies.length === 0 && <Tile label="Revenue" value={0} format={whole} note="no purchases" />}
            </Tiles>
            {isOpen && (isWhole || days === 1) && <p class="note">{wordsOfOpen(days)}</p>}
            {!isWhole && !(isOpen && days === 1) && (
              <p class="note">
                {wordsOfBefore(days, had)}
                {FILTERS.some((name) => values[name] !== undefined) && " with these filters"}.
              </p>
            )}
          </>
        );
      }}
    </Answered>
  );
}

function Days() {
  const view = useView();
  const {from = "", to = "", currency} = view.values;
  const releases = useReleases();
  return (
    <Answered of={together(useQuestion("overview"), useQuestion("revenue", {daily: "yes"}))} what="the days">
      {([{rows}, revenue]) => {
        if (rows.length === 0) return <Empty what="players" call={CALLS.start} />;
        const days = daysWithData(rows, from, to);
        const x = days.map(dayStart);
        const marks = releases.filter(({at}) => at >= (x[0] ?? 0));
        const of = (rows: readonly Row[], column: string) => byDay(rows, days, (row) => numberOf(row[column]));
        const currencies = currenciesOf(revenue.rows);
        const chosen = currency !== undefined && currencies.includes(currency) ? currency : currencies[0];
        const purchases = revenue.rows.filter((row) => row.currency === chosen);
        const lengths = byDay(rows, days, (row) => ratio(numberOf(row.seconds), numberOf(row.ended)), null);
        return (
          <>
            <Beginning what="players" days={days} from={from} />
            <Chart
              title="Players by day"
              file="players-by-day"
              x={x}
              xTitle="Day"
              format={whole}
              marks={marks}
              series={[
                {label: "Players", values: of(rows, "players")},
                {label: "New players", values: of(rows, "new_players")},
              ]}
            />
            <div class="beside">
              <Chart
                title="Sessions by day"
                file="sessions-by-day"
                x={x}
                xTitle="Day"
                format={whole}
                marks={marks}
                series={[{label: "Sessions", values: of(rows, "sessions")}]}
              />
              <Chart
                title="Length of a session by day"
                file="lengths-by-day"
                x={x}
                xTitle="Day"
                format={duration}
                formatAxis={minutes}
                axisUnit={60}
                marks={marks}
                series={[{label: "Mean length", values: lengths}]}
              />
            </div>
            {chosen !== undefined && (
              <>
                <Chart
                  title={`Revenue in ${chosen} by day`}
                  file={`revenue-${chosen}-by-day`}
                  x={x}
                  xTitle="Day"
                  marks={marks}
                  format={(value) => moneyWhole(value, chosen)}
                  formatAxis={(value) => moneyShort(value, chosen)}
                  series={[
                    {
                      label: `Revenue in ${chosen}`,
                      values: of(purchases, "total").map((value) => (value ?? 0) / unitsOf(chosen)),
                    },
                  ]}
                />
                {currencies.length > 1 && (
                  <Choice title="Currency" name="currency" value={chosen} values={currencies} />
                )}
              </>
            )}
          </>
        );
      }}
    </Answered>
  );
}

const HOURS = Array.from({length: 24}, (_, index) => index);
const MOST_DAYS = 31;

// What an hour's sessions are divided by: the days with data, without today where the hour isn't over.
function Hours() {
  const {from = "", to = ""} = useView().values;
  const last = to < today() ? to : today();
  const earliest = daysLater(last, 1 - MOST_DAYS);
  const first = from > earliest ? from : earliest;
  const isOpen = last === today();
  const asked = together(
    useQuestion("hours", {from: first, to: last}),
    useQuestion("hours", {from: last, to: last}),
    useQuestion("overview", {from: first, to: last}),
  );
  return (
    <Answered of={asked} what="the hours">
      {([all, ofLast, days]) => {
        if (all.rows.length === 0) return <Empty what="sessions" call={CALLS.start} />;
        const now = new Date().getUTCHours();
        const hadLast = days.rows.some((row) => row.day === last) ? 1 : 0;
        const sessions = ({rows}: Answer, at: number) => {
          const ofHour = rows.filter((row) => row.hour === at);
          return sumOf(ofHour, "sessions");
        };
        const mean = (at: number) =>
          isOpen && at >= now
            ? ratio(sessions(all, at) - sessions(ofLast, at), days.rows.length - hadLast)
            : ratio(sessions(all, at), days.rows.length);
        return (
          <Chart
            title="A day, hour by hour (UTC)"
            file="hours"
            x={HOURS}
            xTitle="Hour"
            bars
            formatX={hour}
            series={[{label: "Sessions in an hour", values: HOURS.map(mean)}]}
          />
        );
      }}
    </Answered>
  );
}

export function Overview() {
  return (
    <>
      <Section
        title="This time"
        rows={{}}
        how="Players are different ids with a record of any kind; new ones have none of an earlier day. A session's length is the mean of those that ended. Crash-free are the players without a critical error. The time before is the one of the same length that ended the day before, if most of its days have data. Shares differ by percentage points. Amounts of different currencies are never added up."
      >
        <Now />
      </Section>
      <Section
        title="Day by day"
        rows={{}}
        how="Days are UTC days of the record's own time. A player of two days counts on both. Dashed lines are the days on which a build first came. The numbers of the last two or three days still grow, as games send what they couldn't send earlier."
      >
        <Days />
      </Section>
      <Section
        title="Hour by hour"
        rows={{category: "user"}}
        how="Sessions that began in this hour of a UTC day: the mean of the days with data among the latest 31 of this time. An hour of today counts once it is over."
      >
        <Hours />
      </Section>
    </>
  );
}
