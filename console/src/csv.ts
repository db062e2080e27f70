// Tables as CSV, and as a file that the browser keeps.
import type {Cell} from "./api";

// A spreadsheet takes a text that begins like this for a formula; what games send may be meant as one.
const FORMULA = /^[=+\-@\t\r]/;

function cellOf(cell: Cell): string {
  if (cell === null) return "";
  if (typeof cell === "number") return String(cell);
  const text = FORMULA.test(cell) ? `'${cell}` : cell;
  return /[",\r\n]/.test(text) ? `"${text.replaceAll('"', '""')}"` : text;
}

export function csvOf(columns: readonly string[], rows: readonly (readonly Cell[])[]): string {
  return [columns, ...rows].map((row) => `${row.map(cellOf).join(",")}\r\n`).join("");
}

export function keepFile(name: string, type: string, text: string): void {
  const url = URL.createObjectURL(new Blob([text], {type}));
  const link = document.createElement("a");
  link.href = url;
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(url), 10_000); // not before the browser has it
}
