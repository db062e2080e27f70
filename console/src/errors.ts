// Errors in groups: messages that differ only in what changes from run to run, or in the build that a crash report names,
// are one trouble.
import {signatureOf, titleOf} from "./crash";
import {groupedBy, numberOf, sumOf, textOf, type Row} from "./rows";

export interface Trouble {
  readonly id: string; // short, for the address
  readonly key: string; // of keyOf()
  readonly severity: string;
  readonly title: string;
  readonly messages: readonly string[];
  readonly events: number;
  readonly players: readonly [number, number]; // at least and at most: those of several messages may be the same
}

function shortened(text: string): string {
  let hash = 0x811c9dc5; // FNV-1a
  for (let at = 0; at < text.length; ++at) hash = Math.imul(hash ^ text.charCodeAt(at), 0x01000193) >>> 0;
  return hash.toString(16).padStart(8, "0");
}

export const keyOf = (row: Row): string => `${textOf(row.severity)}\n${signatureOf(textOf(row.message))}`;

// Of a row of the question rows; cut short it is no JSON any more.
export function messageOf(row: Row): string {
  try {
    return String((JSON.parse(textOf(row.record)) as {message?: unknown}).message ?? "");
  } catch {
    return "";
  }
}

// Of rows by severity and message.
export function troublesOf(rows: readonly Row[]): Trouble[] {
  return [...groupedBy(rows, keyOf)].map(([key, group]) => {
    const first = group[0]!;
    return {
      id: shortened(key),
      key,
      severity: textOf(first.severity),
      title: titleOf(textOf(first.message)),
      messages: group.map((row) => textOf(row.message)),
      events: sumOf(group, "events"),
      players: [Math.max(...group.map((row) => numberOf(row.players))), sumOf(group, "players")],
    };
  });
}

// The part of the players without a critical error. `rows` are the errors of these players by severity.
export function crashFreeOf(players: number, rows: readonly Row[]): number | null {
  const crashed = numberOf(rows.find((row) => row.severity === "critical")?.players);
  return players === 0 ? null : 1 - crashed / players;
}
