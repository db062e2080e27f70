// The frame of all pages: who is signed in, which games there are, the bar, the navigation, and the page itself.
import {useEffect, useRef} from "preact/hooks";
import {addressElsewhere, addressOf, changed, correct, useAddress, useView, ViewContext, type View} from "./address";
import {get, onSignedOut, type Json} from "./api";
import {useAsked} from "./asked";
import {daysLater, isDay, today} from "./days";
import {PAGES, pageOf} from "./pages";
import {Empty, Loading, Trouble} from "./parts/states";
import {SignIn} from "./parts/sign-in";
import {nameOf, TopBar, USUAL_DAYS} from "./parts/top-bar";
import {session, SessionContext, signOut, type Session} from "./session";

// The view that an address means: what it leaves out is said in it, so that it means the same tomorrow.
function completed(view: View, games: readonly {key: string}[]): View {
  const {game, from, to} = view.values;
  const end = isDay(to) ? to : today();
  const begin = isDay(from) ? from : daysLater(end, 1 - USUAL_DAYS);
  const [first, last] = begin <= end ? [begin, end] : [end, begin];
  return {
    page: view.page === "" ? PAGES[0]!.name : view.page,
    values: changed(view.values, {game: game ?? games[0]?.key, from: first, to: last}),
  };
}

// Before there is a page: its frame.
function Waiting({what}: {what: string}) {
  return (
    <main>
      <section>
        <Loading what={what} />
      </section>
    </main>
  );
}

function Navigation() {
  const view = useView();
  const list = useRef<HTMLUListElement>(null);
  useEffect(() => {
    // where the window is narrow the list is longer than the window
    list.current?.querySelector("[aria-current]")?.scrollIntoView({block: "nearest", inline: "center"});
  }, [view.page]);
  return (
    <nav aria-label="Pages">
      <ul ref={list}>
        {PAGES.filter((page) => !page.isHidden).map((page) => (
          <li key={page.name}>
            <a href={addressElsewhere(view, page.name)} aria-current={page.name === view.page ? "page" : undefined}>
              {page.title}
            </a>
          </li>
        ))}
      </ul>
    </nav>
  );
}

function Page({game}: {game: string}) {
  const view = useView();
  const page = pageOf(view.page);
  useEffect(() => {
    document.title = `${page.title} · ${game} · Zorvane`;
  }, [page, game]);
  useEffect(() => scrollTo(0, 0), [page]);
  return (
    <main id="page" tabIndex={-1}>
      <h1>{page.title}</h1>
      <p class="question">{page.question}</p>
      {/* another game or page begins from nothing */}
      <page.Page key={`${page.name} ${view.values.game}`} />
    </main>
  );
}

// The address names a game that isn't here.
function Unknown({games}: {games: Json<"/api/games">}) {
  const view = useView();
  return (
    <main id="page" tabIndex={-1}>
      <h1>No such game</h1>
      <p>
        No game here has the key <bdi>{view.values.game}</bdi>. These are here:
      </p>
      <ul>
        {games.map(({key}) => (
          <li key={key}>
            <a href={addressOf({page: view.page, values: changed(view.values, {game: key})})}>{nameOf(key, games)}</a>
          </li>
        ))}
      </ul>
    </main>
  );
}

function Console({who, again}: {who: Session; again: () => void}) {
  const address = useAddress();
  const games = useAsked("games", (signal) => get("/api/games", {}, signal));
  const view = completed(address, games.value ?? []);
  const isWhole = addressOf(view) === addressOf(address);
  useEffect(() => {
    if (games.value && !isWhole) correct(view);
  }, [games.value, isWhole]);
  if (games.failure !== undefined && !games.isAsking)
    return (
      <main>
        <Trouble what="the games" why={games.failure} again={games.again} />
      </main>
    );
  if (!games.value) return <Waiting what="the games" />;
  if (games.value.length === 0)
    return (
      <main>
        <Empty what="games" call="$ zorvane-collector game add NAME" />
      </main>
    );
  const leave = () => signOut().then(again, again);
  return (
    <ViewContext.Provider value={view}>
      <a
        class="skip"
        href="#page"
        onClick={(event) => {
          event.preventDefault(); // the address holds the view
          document.getElementById("page")?.focus();
        }}
      >
        To the page
      </a>
      <header>
        <p class="name">Zorvane</p>
        <TopBar games={games.value} isOfNow={pageOf(view.page).isOfNow === true} />
        {who.needed && (
          <button type="button" class="leave" onClick={leave}>
            Sign out
          </button>
        )}
      </header>
      <div class="body">
        <Navigation />
        {games.value.some(({key}) => key === view.values.game) ? (
          <Page game={nameOf(view.values.game, games.value)} />
        ) : (
          <Unknown games={games.value} />
        )}
      </div>
    </ViewContext.Provider>
  );
}

export function App() {
  const who = useAsked("session", session);
  useEffect(() => onSignedOut(who.again), [who.again]);
  if (who.failure !== undefined && !who.isAsking)
    return (
      <main>
        <Trouble what="who is signed in" why={who.failure} again={who.again} />
      </main>
    );
  if (!who.value) return <Waiting what="who is signed in" />;
  if (who.value.needed && who.value.level === "none") return <SignIn onSignedIn={who.again} />;
  return (
    <SessionContext.Provider value={who.value}>
      <Console who={who.value} again={who.again} />
    </SessionContext.Provider>
  );
}
