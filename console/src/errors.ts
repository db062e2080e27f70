// Errors in groups: messages that differ only in what changes from run to run, or in the build that a crash report names,
// are one trouble.
import {crashReportOf, titleOf} from "./crash";
import {groupedBy, numberOf, textOf, type Row} from "./rows";

export interface Trouble {
  readonly id: string; // short, for the address
  readonly severity: string;
  readonly title: string;
  readonly messages: readonly string[];
  readonly events: number;
  readonly players: number; // added up over the messages: at most so many
  readonly isExact: boolean; // one message: exactly so many
}

// By its frames, without addresses, or else by the message itself.
function signatureOf(message: string): string {
  const report = crashReportOf(message);
  if (!report) return message;
  const facts = report.facts.slice(1).join("\n");
  return [facts, ...report.frames.map((frame) => frame.where.replace(/\+0x[0-9a-f]+|\[0x[0-9a-f]+\]/g, ""))].join("\n");
}

function shortened(text: string): string {
  let hash = 0x811c9dc5; // FNV-1a
  for (let at = 0; at < text.length; ++at) hash = Math.imul(hash ^ text.charCodeAt(at), 0x01000193) >>> 0;
  return hash.toString(16).padStart(8, "0");
}

export const keyOf = (row: Row): string => `${textOf(row.severity)}\n${signatureOf(textOf(row.message))}`;

// Of rows by severity and message.
export function troublesOf(rows: readonly Row[]): Trouble[] {
  return [...groupedBy(rows, keyOf)].map(([key, group]) => {
    const first = group[0]!;
    return {
      id: shortened(key),
      severity: textOf(first.severity),
      title: titleOf(textOf(first.message)),
      messages: group.map((row) => textOf(row.message)),
      events: group.reduce((sum, row) => sum + numberOf(row.events), 0),
      players: group.reduce((sum, row) => sum + numberOf(row.players), 0),
      isExact: group.length === 1,
    };
  });
}
