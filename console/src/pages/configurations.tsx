// What running games read: values and experiments, for whom and when; what each kind of player gets; every version.
import {useContext, useEffect, useState} from "preact/hooks";
import {UNFILTERED, useView} from "../address";
import {change, get} from "../api";
import {useAsked, useQuestion, wordsOf} from "../asked";
import {CALLS} from "../calls";
import {dependsOnKind, hasShape, inForce, kindsNamed, type Document, type Kind, type Version} from "../configuration";
import {moment} from "../format";
import {ConfigurationEditor} from "../parts/configuration-editor";
import {author, Saving} from "../parts/configuration-saving";
import {DataTable} from "../parts/data-table";
import {Record} from "../parts/record";
import {Section} from "../parts/section";
import {Answered} from "../parts/states";
import {numberOf, textOf, type Row} from "../rows";
import {SessionContext} from "../session";

// The same document as text, for what is quicker to paste.
function AsText({draft, set, isOff}: {draft: Document; set: (document: Document) => void; isOff: boolean}) {
  const [wrong, setWrong] = useState("");
  const take = (text: string) => {
    try {
      const document: unknown = JSON.parse(text);
      if (!hasShape(document)) {
        setWrong("it isn't a document of configurations and experiments");
        return;
      }
      set(document);
      setWrong("");
    } catch (failure) {
      setWrong(wordsOf(failure));
    }
  };
  return (
    <details>
      <summary>The document as JSON</summary>
      <label>
        <span class="unseen">The document as JSON</span>
        <textarea
          rows={16}
          spellcheck={false}
          readOnly={isOff}
          value={JSON.stringify(draft, null, 2)}
          onChange={({currentTarget}) => take(currentTarget.value)}
        />
      </label>
      {wrong !== "" && (
        <p class="trouble" role="alert">
          This isn't taken: {wrong}. The form still has what was there before.
        </p>
      )}
    </details>
  );
}

function Nothing() {
  return (
    <div class="empty">
      <p>There are no values yet, so each game goes by the defaults in its code. It reads a value with:</p>
      <pre>
        <code>{CALLS.configuration}</code>
      </pre>
    </div>
  );
}

// What isn't saved yet, by game, with the version it began from: who looks at another page meanwhile finds it again.
const unsaved = new Map<string, {base: Version; drafts: readonly Document[]}>();

function useDrafts(game: string, base: Version) {
  const [drafts, setDrafts] = useState(unsaved.get(game)?.drafts ?? [base.document]);
  useEffect(() => {
    if (drafts.length < 2) return;
    unsaved.set(game, {base, drafts});
    const warn = (event: Event) => event.preventDefault(); // closing the page would lose it
    addEventListener("beforeunload", warn);
    return () => removeEventListener("beforeunload", warn);
  }, [drafts]);
  const set = (next: readonly Document[]) => {
    unsaved.delete(game);
    setDrafts(next);
  };
  return [drafts, set] as const;
}

function Editing({
  current,
  isSaved,
  onSaved,
  again,
}: {
  current: Version;
  isSaved: boolean; // by this reader, a moment ago
  onSaved: (version: number) => void;
  again: () => void;
}) {
  const isOff = useContext(SessionContext).level !== "editing";
  const {game = ""} = useView().values;
  const [drafts, setDrafts] = useDrafts(game, current);
  const draft = drafts.at(-1)!;
  const load = () => {
    setDrafts([current.document]);
    again();
  };
  const set = (document: Document) => setDrafts([...drafts, document]);
  return (
    <>
      {current.version === 0 ? (
        <Nothing />
      ) : (
        <p>
          Version {current.version}, by <bdi>{current.author}</bdi> on {moment(current.at)}
          {current.note !== "" && (
            <>
              : <bdi>{current.note}</bdi>
            </>
          )}
        </p>
      )}
      {isOff && <p class="note">You are signed in for reading. To edit, sign in with the token for editing.</p>}
      <ConfigurationEditor document={draft} set={set} isOff={isOff} />
      <AsText draft={draft} set={set} isOff={isOff} />
      {!isOff && (
        <>
          <p class="choices">
            <button type="button" disabled={drafts.length < 2} onClick={() => setDrafts(drafts.slice(0, -1))}>
              Undo the latest change
            </button>
            <button type="button" onClick={load}>
              Load what is in force
            </button>
          </p>
          <Saving
            current={current}
            draft={draft}
            isChanged={drafts.length > 1}
            isSaved={isSaved}
            onSaved={onSaved}
            load={load}
          />
        </>
      )}
    </>
  );
}

const MOST_KINDS = 12;

const EVERYBODY: Kind = {platform: "", build: ""};

function Kinds({kinds, version}: {kinds: readonly Kind[]; version: number}) {
  const {game = ""} = useView().values;
  const [player, setPlayer] = useState("a player");
  const asked = useAsked(JSON.stringify([game, version, player, kinds]), (signal) =>
    Promise.all(
      kinds.map(async (kind) => ({
        kind,
        given: await get("/api/configurations/preview", {game, user_id: player, ...kind}, signal),
      })),
    ),
  );
  return (
    <>
      <label class="choice">
        As the player with the id
        <input
          value={player}
          onChange={({currentTarget: {value}}) => setPlayer(value.trim() === "" ? "a player" : value.trim())}
        />
      </label>
      <Answered of={asked} what="what they get">
        {(all) => {
          const isOne = kinds.length === 1 && kinds[0] === EVERYBODY;
          const rows = all.map(({kind, given}): Row => ({
            platform: kind.platform || (isOne ? "all" : "any other"),
            build: kind.build || (isOne ? "all" : "any other"),
            group: [given.ab_id, given.ab_variant_id].filter((each) => each !== undefined && each !== "").join(": "),
            ...Object.fromEntries(
              [...inForce(given.configs ?? [], Date.now() / 1000)].map(([key, value]) => [`=${key}`, value]),
            ),
          }));
          const keys = [
            ...new Set(rows.flatMap((row) => Object.keys(row).filter((name) => name.startsWith("=")))),
          ].sort();
          return (
            <DataTable
              caption="What each kind of player has now"
              file="configurations"
              rows={rows}
              columns={[
                {name: "platform", title: "Platform"},
                {name: "build", title: "Build"},
                {name: "group", title: "Experiment"},
                ...keys.map((name) => ({name, title: name.slice(1)})),
              ]}
            />
          );
        }}
      </Answered>
    </>
  );
}

// Those who play, and those who are named but don't play yet.
function EachKind({current}: {current: Version}) {
  return (
    <Answered of={useQuestion("segments", {...UNFILTERED, by: "platform,build"})} what="the kinds of players">
      {({rows}) => {
        const found = rows
          .map((row) => ({platform: textOf(row.platform), build: textOf(row.build)}))
          .slice(0, MOST_KINDS);
        const all = [...found, ...kindsNamed(current.document)];
        const kinds = [...new Map(all.map((kind) => [`${kind.platform}\n${kind.build}`, kind])).values()];
        return <Kinds kinds={kinds.slice(0, 2 * MOST_KINDS)} version={current.version} />;
      }}
    </Answered>
  );
}

function Preview({current}: {current: Version}) {
  if (current.version === 0) return <p class="note">Nobody gets anything yet.</p>;
  if (dependsOnKind(current.document)) return <EachKind current={current} />;
  return <Kinds kinds={[EVERYBODY]} version={current.version} />;
}

function Older({version}: {version: number}) {
  const {game = ""} = useView().values;
  return (
    <Answered
      of={useAsked(`version ${game} ${version}`, (signal) => get("/api/configurations", {game, version}, signal))}
      what="this version"
    >
      {({document}) => <Record record={document} />}
    </Answered>
  );
}

function History({current, onSaved}: {current: number; onSaved: () => void}) {
  const {game = ""} = useView().values;
  const isOff = useContext(SessionContext).level !== "editing";
  const [seen, setSeen] = useState<number | null>(null);
  const [said, setSaid] = useState("");
  const restore = async (version: number) => {
    try {
      const who = author() || "the console";
      const saved = await change("post", "/api/configurations/restore", {game, version, current, author: who});
      setSaid(
        `Version ${version} is in force again, as version ${saved.version}: players have it from their next session on.`,
      );
      onSaved();
    } catch (failure) {
      setSaid(`Nothing was restored: ${wordsOf(failure)}.`);
    }
  };
  return (
    <>
      <Answered
        of={useAsked(`versions ${game} ${current}`, (signal) =>
          get("/api/configurations/versions", {game, limit: 100}, signal),
        )}
        what="the versions"
      >
        {(versions) =>
          versions.length === 0 ? (
            <p class="note">There is no version yet.</p>
          ) : (
            <DataTable
              caption="Versions, the newest first"
              file="versions"
              rows={versions.map((each) => ({...each, actions: ""}))}
              columns={[
                {name: "version", title: "Version"},
                {name: "at", title: "When", show: (value) => moment(value as number)},
                {name: "author", title: "Who"},
                {name: "note", title: "Why"},
                {
                  name: "actions",
                  title: "Do",
                  show: (_, row) => (
                    <span class="order">
                      <button
                        type="button"
                        onClick={() => setSeen(seen === row.version ? null : numberOf(row.version))}
                      >
                        {seen === row.version ? "Hide" : "See"}
                      </button>
                      {!isOff && row.version !== current && (
                        <button type="button" onClick={() => restore(numberOf(row.version))}>
                          Restore
                        </button>
                      )}
                    </span>
                  ),
                },
              ]}
            />
          )
        }
      </Answered>
      <p role="status">{said}</p>
      {seen !== null && (
        <>
          <h3>Version {seen}</h3>
          <Older version={seen} />
        </>
      )}
    </>
  );
}

export function Configurations() {
  const {game = ""} = useView().values;
  const asked = useAsked(
    `configurations ${game}`,
    async (signal) => (await get("/api/configurations", {game}, signal)) as unknown as Version,
  );
  const [loads, setLoads] = useState(0);
  const [saved, setSaved] = useState<number | null>(null);
  const again = () => {
    setLoads(loads + 1);
    asked.again();
  };
  const onSaved = (version: number) => {
    unsaved.delete(game);
    setSaved(version);
    again();
  };
  return (
    <Answered of={asked} what="the configurations">
      {(current) => {
        const base = unsaved.get(game)?.base ?? current;
        return (
          <>
            <Section
              title="Values and experiments"
              how="A game asks for these at the start of each session. Every version stays in the history, to be restored."
            >
              <Editing
                key={`${base.version} ${loads}`}
                current={base}
                isSaved={saved === base.version}
                onSaved={onSaved}
                again={again}
              />
            </Section>
            <Section
              title="Who has what now"
              how={`Of the version that is in force, without what isn't saved yet. Where values depend on platform or build, these are the ${MOST_KINDS} most frequent kinds of players and those that the version names; the id decides about percentages and groups.`}
            >
              <Preview current={current} />
            </Section>
            <Section title="History">
              <History current={current.version} onSaved={again} />
            </Section>
          </>
        );
      }}
    </Answered>
  );
}
