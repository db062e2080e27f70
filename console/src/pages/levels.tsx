// Where players give up: each level from those who start it to those who complete it.
import {addressElsewhere, useView} from "../address";
import {useQuestion} from "../asked";
import {CALLS} from "../calls";
import {duration, number, share, whole} from "../format";
import {DataTable} from "../parts/data-table";
import {Funnel} from "../parts/funnel";
import {Section} from "../parts/section";
import {Answered, Empty} from "../parts/states";
import {Tile, Tiles} from "../parts/tile";
import {byVersion, numberOf, numberOrNull, ratio, textOf, type Row} from "../rows";

const PARTS = ["progression01", "progression02", "progression03"] as const;
const nameOf = (row: Row): string =>
  PARTS.map((part) => textOf(row[part]))
    .filter((part) => part !== "")
    .join(" · ");
// Those that more players start come before: that is how a game is played through.
const inOrder = (one: Row, other: Row): number =>
  numberOf(other.players_started) - numberOf(one.players_started) || byVersion(textOf(one.level), textOf(other.level));

// The last level is the end of the game: nobody goes on.
const measured = (row: Row, index: number, all: readonly Row[]): Row => ({
  ...row,
  failed_share: ratio(numberOf(row.fails), numberOf(row.fails) + numberOf(row.completes)),
  tries: ratio(numberOf(row.starts), numberOf(row.players_started)),
  went_on: index === all.length - 1 ? null : numberOf(row.players_completed) - numberOf(row.players_left),
});

const wordsOfStopping = (row: Row): string =>
  `${whole(numberOf(row.players_stopped))} of the ${whole(numberOf(row.players_started))} who started it (${share(ratio(numberOf(row.players_stopped), numberOf(row.players_started)))}), ` +
  `at ${duration(numberOrNull(row.mean_seconds))} a try`;

// The level with the most of something; absent where there is none of it.
const worst = (levels: readonly Row[], column: string): Row | undefined =>
  levels.reduce<Row | undefined>(
    (most, row) => (numberOf(row[column]) > numberOf(most?.[column]) ? row : most),
    undefined,
  );

export function Levels() {
  const view = useView();
  return (
    <Answered of={useQuestion("levels")} what="the levels">
      {({rows}) => {
        if (rows.length === 0) return <Empty what="levels" call={CALLS.level} />;
        const levels = rows
          .map((row): Row => ({...row, level: nameOf(row)}))
          .sort(inOrder)
          .map(measured);
        const stopper = worst(levels, "players_stopped");
        const hardest = worst(levels, "failed_share");
        const longest = worst(levels, "mean_seconds");
        return (
          <>
            <Section
              title="Where it hurts"
              rows={{category: "progression"}}
              how="Players stop at the level of their last report in this time if they haven't completed it; some of them play on later. A level is hardest where the largest part of its tries that ended, failed."
            >
              <Tiles>
                {stopper && (
                  <Tile
                    label="Most players stop at"
                    value={numberOf(stopper.players_stopped)}
                    format={() => textOf(stopper.level)}
                    note={wordsOfStopping(stopper)}
                  />
                )}
                {hardest && (
                  <Tile
                    label="The hardest"
                    value={numberOf(hardest.failed_share)}
                    format={() => textOf(hardest.level)}
                    note={`${share(numberOf(hardest.failed_share))} of its tries fail`}
                  />
                )}
                {longest && (
                  <Tile
                    label="Takes longest"
                    value={numberOf(longest.mean_seconds)}
                    format={() => textOf(longest.level)}
                    note={`${duration(numberOf(longest.mean_seconds))} a try`}
                  />
                )}
                <Tile label="Levels" value={levels.length} format={whole} />
              </Tiles>
            </Section>
            <Section
              title="From start to completion"
              rows={{category: "progression"}}
              how="Different players with at least one start, and with at least one completion, level by level. Stopped: of those who started it; went on: of those who completed it, to any other level. Those that more players start come before."
            >
              <Funnel
                caption="Players who started and completed each level"
                steps={levels.map((row) => ({
                  title: textOf(row.level),
                  whole: numberOf(row.players_started),
                  part: numberOf(row.players_completed),
                  lost: numberOf(row.players_stopped),
                  wentOn: numberOrNull(row.went_on),
                }))}
              />
            </Section>
            <Section
              title="Level by level"
              how="Starts, fails and completions are reports. Tries are the starts of a player who started. The time of a try is the mean from a start to the next fail or completion. The mean score is of the completions."
            >
              <DataTable
                caption="Levels"
                file="levels"
                rows={levels}
                columns={[
                  {
                    name: "level",
                    title: "Level",
                    show: (value, row) => (
                      <a
                        href={addressElsewhere(view, "rows", {
                          category: "progression",
                          ...Object.fromEntries(PARTS.map((part) => [part, textOf(row[part]) || undefined])),
                        })}
                      >
                        {value}
                      </a>
                    ),
                  },
                  {name: "tries", title: "Tries of a player", show: (value) => number(value as number | null)},
                  {
                    name: "failed_share",
                    title: "Part of tries that fail",
                    show: (value) => share(value as number | null),
                  },
                  {name: "mean_seconds", title: "Time of a try", show: (value) => duration(value as number | null)},
                  {name: "mean_score", title: "Mean score", show: (value) => whole(value as number | null)},
                  {name: "players_started", title: "Players started"},
                  {name: "players_completed", title: "Completed"},
                  {name: "players_stopped", title: "Stopped here"},
                  {name: "players_left", title: "Completed, not gone on"},
                  {name: "starts", title: "Starts"},
                  {name: "fails", title: "Fails"},
                  {name: "completes", title: "Completions"},
                ]}
              />
            </Section>
          </>
        );
      }}
    </Answered>
  );
}
