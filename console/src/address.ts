// The address holds the whole view: a page, the bar on top, and what the page itself asks for. Who has the address sees
// the same.
import {createContext} from "preact";
import {useContext, useEffect, useState} from "preact/hooks";

export const FILTERS = ["build", "platform", "custom_01", "custom_02", "custom_03", "ab_id", "ab_variant_id"] as const;
export const UNFILTERED: Changes = Object.fromEntries(FILTERS.map((name) => [name, undefined]));
export type FilterName = (typeof FILTERS)[number];
const SHARED: readonly string[] = ["game", "from", "to", ...FILTERS]; // what goes along to another page

export type Values = Readonly<Record<string, string>>;
export interface View {
  readonly page: string;
  readonly values: Values;
}

export function viewOf(hash: string): View {
  const text = hash.replace(/^#\/?/, "");
  const end = text.indexOf("?");
  const page = end < 0 ? text : text.slice(0, end);
  const values = Object.fromEntries(new URLSearchParams(end < 0 ? "" : text.slice(end + 1)));
  return {page, values};
}

export function addressOf({page, values}: View): string {
  const query = new URLSearchParams(Object.entries(values)).toString();
  return `#/${page}${query === "" ? "" : `?${query}`}`;
}

// The values with others in place of some; undefined takes one away.
export type Changes = Readonly<Record<string, string | undefined>>;
export function changed(values: Values, changes: Changes): Values {
  const all = {...values, ...changes};
  return Object.fromEntries(Object.entries(all).filter((entry): entry is [string, string] => entry[1] !== undefined));
}

export function sharedOf(values: Values): Values {
  return Object.fromEntries(Object.entries(values).filter(([name]) => SHARED.includes(name)));
}

// Another page, with the same bar on top.
export function addressElsewhere(view: View, page: string, own: Changes = {}): string {
  return addressOf({page, values: changed(sharedOf(view.values), own)});
}

export const ViewContext = createContext<View>({page: "", values: {}});
export const useView = (): View => useContext(ViewContext);

export function go(view: View, changes: Changes): void {
  location.hash = addressOf({page: view.page, values: changed(view.values, changes)});
}

// The same, without a step of the history for it.
export function correct(view: View): void {
  history.replaceState(null, "", addressOf(view));
  dispatchEvent(new HashChangeEvent("hashchange"));
}

export function useAddress(): View {
  const [hash, setHash] = useState(location.hash);
  useEffect(() => {
    const update = () => setHash(location.hash);
    addEventListener("hashchange", update);
    return () => removeEventListener("hashchange", update);
  }, []);
  return viewOf(hash);
}
