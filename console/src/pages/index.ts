// The pages in the order of the navigation. A new one is a row.
import type {ComponentType} from "preact";
import {Ads} from "./ads";
import {Builds} from "./builds";
import {Collector} from "./collector";
import {Configurations} from "./configurations";
import {Designs} from "./designs";
import {Economy} from "./economy";
import {Errors} from "./errors";
import {Experiments} from "./experiments";
import {Levels} from "./levels";
import {Live} from "./live";
import {Money} from "./money";
import {Nowhere} from "./nowhere";
import {Overview} from "./overview";
import {Players} from "./players";
import {Retention} from "./retention";
import {Rows} from "./rows";

export interface PageOfConsole {
  readonly name: string; // in the address
  readonly title: string;
  readonly question: string;
  readonly Page: ComponentType;
  readonly isHidden?: boolean; // others lead to it
  readonly isOfNow?: boolean; // takes neither days nor filters
}

export const PAGES: readonly PageOfConsole[] = [
  {name: "overview", title: "Overview", question: "How is the game doing?", Page: Overview},
  {name: "live", title: "Live", question: "What arrives, and what is wrong with it?", Page: Live, isOfNow: true},
  {name: "retention", title: "Retention", question: "Do players come back?", Page: Retention},
  {name: "builds", title: "Builds", question: "Did a build help?", Page: Builds},
  {name: "levels", title: "Levels", question: "Where do players give up?", Page: Levels},
  {name: "money", title: "Money", question: "What do players pay for?", Page: Money},
  {name: "errors", title: "Errors", question: "What goes wrong, since when, and for how many?", Page: Errors},
  {name: "economy", title: "Economy", question: "Does a currency inflate?", Page: Economy},
  {name: "players", title: "Players", question: "What happened to this player?", Page: Players},
  {name: "designs", title: "Designs", question: "What else do players do?", Page: Designs},
  {name: "ads", title: "Ads", question: "How do ads do?", Page: Ads},
  {
    name: "experiments",
    title: "Experiments",
    question: "Which group does better, and can that be told?",
    Page: Experiments,
  },
  {name: "configurations", title: "Configurations", question: "What do running games get?", Page: Configurations},
  {name: "collector", title: "Collector", question: "Does the collector keep up?", Page: Collector, isOfNow: true},
  {name: "rows", title: "Rows", question: "Which events are behind this number?", Page: Rows, isHidden: true},
];

const NOWHERE: PageOfConsole = {name: "", title: "No such page", question: "", Page: Nowhere, isHidden: true};

export const pageOf = (name: string): PageOfConsole => PAGES.find((page) => page.name === name) ?? NOWHERE;
