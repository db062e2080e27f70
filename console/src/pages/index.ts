// The pages in the order of the navigation. A new one is a row.
import type {ComponentType} from "preact";
import {Overview} from "./overview";

export interface PageOfConsole {
  readonly name: string; // in the address
  readonly title: string;
  readonly question: string;
  readonly Page: ComponentType;
  readonly isHidden?: boolean; // others lead to it
}

export const PAGES: readonly PageOfConsole[] = [
  {name: "overview", title: "Overview", question: "How is the game doing?", Page: Overview},
];

export const pageOf = (name: string): PageOfConsole => PAGES.find((page) => page.name === name) ?? PAGES[0]!;
