// Where players give up: each level from those who start it to those who complete it.
import {addressElsewhere, useView} from "../address";
import {useQuestion} from "../asked";
import {CALLS} from "../calls";
import {number, share, whole} from "../format";
import {DataTable} from "../parts/data-table";
import {Funnel} from "../parts/funnel";
import {Section} from "../parts/section";
import {Answered, Empty} from "../parts/states";
import {Tile, Tiles} from "../parts/tile";
import {byVersion, numberOf, ratio, textOf, type Row} from "../rows";

const PARTS = ["progression01", "progression02", "progression03"] as const;
const nameOf = (row: Row): string =>
  PARTS.map((part) => textOf(row[part]))
    .filter((part) => part !== "")
    .join(" · ");
// Those that more players start come before: that is how a game is played through.
const inOrder = (one: Row, other: Row): number =>
  numberOf(other.players_started) - numberOf(one.players_started) || byVersion(textOf(one.level), textOf(other.level));

const measured = (row: Row): Row => ({
  ...row,
  level: nameOf(row),
  failed_share: ratio(numberOf(row.fails), numberOf(row.fails) + numberOf(row.completes)),
  tries: ratio(numberOf(row.starts), numberOf(row.players_started)),
  stopped_share:
    row.players_stopped === undefined ? null : ratio(numberOf(row.players_stopped), numberOf(row.players_started)),
});

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
        const levels = rows.map(measured).sort(inOrder);
        const stopper = worst(levels, "players_stopped");
        const hardest = worst(levels, "failed_share");
        return (
          <>
            <Section
              title="Where it hurts"
              rows={{category: "progression"}}
              how="Players stop at a level when their last report of a level in this time is of this one and isn't a completion. A level is hardest where the largest part of its tries that ended, failed."
            >
              <Tiles>
                {stopper && (
                  <Tile
                    label="Most players stop at"
                    value={numberOf(stopper.players_stopped)}
                    format={() => textOf(stopper.level)}
                    note={`${whole(numberOf(stopper.players_stopped))} players, ${share(numberOf(stopper.stopped_share))} of those who started it`}
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
                <Tile label="Levels" value={levels.length} format={whole} />
              </Tiles>
            </Section>
            <Section
              title="From start to completion"
              rows={{category: "progression"}}
              how="Different players with at least one start, and with at least one completion, level by level. Those that more players start come before."
            >
              <Funnel
                caption="Players who started and completed each level"
                steps={levels.map((row) => ({
                  title: textOf(row.level),
                  whole: numberOf(row.players_started),
                  part: numberOf(row.players_completed),
                  lost: row.players_stopped === undefined ? null : numberOf(row.players_stopped),
                }))}
              />
            </Section>
            <Section
              title="Level by level"
              how="Starts, fails and completions are reports. Tries are the starts of a player who started. The mean score is of the completions."
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
                  {name: "players_started", title: "Players started"},
                  {name: "players_completed", title: "Completed"},
                  {
                    name: "completed_share",
                    title: "Part that completed",
                    show: (value) => share(value as number | null),
                  },
                  {name: "players_stopped", title: "Stopped here"},
                  {name: "stopped_share", title: "Part that stopped", show: (value) => share(value as number | null)},
                  {name: "starts", title: "Starts"},
                  {name: "fails", title: "Fails"},
                  {name: "completes", title: "Completions"},
                  {
                    name: "failed_share",
                    title: "Part of tries that fail",
                    show: (value) => share(value as number | null),
                  },
                  {name: "tries", title: "Tries of a player", show: (value) => number(value as number | null)},
                  {name: "mean_score", title: "Mean score", show: (value) => whole(value as number | null)},
                ]}
              />
            </Section>
          </>
        );
      }}
    </Answered>
  );
}
