// What running games read: values and experiments, for whom and when; what each kind of player gets; every version.
import {useContext, useState} from "preact/hooks";
import {FILTERS, useView} from "../address";
import {change, get} from "../api";
import {useAsked, useQuestion, wordsOf} from "../asked";
import {inForce, type Document} from "../configuration";
import {moment} from "../format";
import {ConfigurationEditor} from "../parts/configuration-editor";
import {DataTable} from "../parts/data-table";
import {Record} from "../parts/record";
import {Section} from "../parts/section";
import {Answered} from "../parts/states";
import {numberOf, textOf, type Row} from "../rows";
import {SessionContext} from "../session";

interface Version {
  readonly version: number;
  readonly at: number;
  readonly author: string;
  readonly note: string;
  readonly document: Document;
}

const AUTHOR = "zorvane-author"; // who edited here last, so that it needn't be typed again

function Saving({current, draft, onSaved}: {current: Version; draft: Document; onSaved: () => void}) {
  const {game = ""} = useView().values;
  const [author, setAuthor] = useState(localStorage.getItem(AUTHOR) ?? "");
  const [note, setNote] = useState("");
  const [said, setSaid] = useState("");
  const save = async (event: Event) => {
    event.preventDefault();
    setSaid("Saving.");
    try {
      localStorage.setItem(AUTHOR, author);
      const {version} = await change(
        "put",
        "/api/configurations",
        {game, version: current.version, author, note},
        draft,
      );
      setSaid(`Saved as version ${version}: games have it at their next session.`);
      setNote("");
      onSaved();
    } catch (failure) {
      setSaid(`Nothing was saved: ${wordsOf(failure)}.`);
    }
  };
  return (
    <form class="choices" onSubmit={save}>
      <label>
        Your name
        <input name="author" required value={author} onInput={({currentTarget: {value}}) => setAuthor(value)} />
      </label>
      <label>
        Why
        <input name="note" value={note} onInput={({currentTarget: {value}}) => setNote(value)} />
      </label>
      <button type="submit" class="main" disabled={draft === current.document}>
        Save
      </button>
      <p role="status">{said}</p>
    </form>
  );
}

// The same document as text, for what is quicker to paste.
function AsText({draft, set, isOff}: {draft: Document; set: (document: Document) => void; isOff: boolean}) {
  const [wrong, setWrong] = useState("");
  const take = (text: string) => {
    try {
      set(JSON.parse(text) as Document);
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
          disabled={isOff}
          value={JSON.stringify(draft, null, 2)}
          onChange={({currentTarget}) => take(currentTarget.value)}
        />
      </label>
      {wrong !== "" && (
        <p class="trouble" role="alert">
          This is no JSON, so it isn't taken: {wrong}
        </p>
      )}
    </details>
  );
}

function Editing({current, onSaved, again}: {current: Version; onSaved: () => void; again: () => void}) {
  const isOff = useContext(SessionContext).level !== "editing";
  const [drafts, setDrafts] = useState<readonly Document[]>([current.document]);
  const draft = drafts.at(-1)!;
  const set = (document: Document) => setDrafts([...drafts, document]);
  return (
    <>
      <p>
        {current.version === 0 ? (
          "There are none yet."
        ) : (
          <>
            Version {current.version}, by <bdi>{current.author}</bdi> on {moment(current.at)}
            {current.note !== "" && (
              <>
                : <bdi>{current.note}</bdi>
              </>
            )}
          </>
        )}
      </p>
      {isOff && <p class="note">You are signed in for reading. To edit, sign in with the token for editing.</p>}
      <ConfigurationEditor document={draft} set={set} isOff={isOff} />
      <AsText draft={draft} set={set} isOff={isOff} />
      {!isOff && (
        <>
          <p class="choices">
            <button type="button" disabled={drafts.length < 2} onClick={() => setDrafts(drafts.slice(0, -1))}>
              Undo the latest change
            </button>
            <button type="button" onClick={again}>
              Load what is in force
            </button>
          </p>
          <Saving current={current} draft={draft} onSaved={onSaved} />
        </>
      )}
    </>
  );
}

const MOST_KINDS = 12;

interface Kind {
  readonly platform: string;
  readonly build: string;
}

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
          const rows = all.map(({kind, given}): Row => ({
            ...kind,
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

function Preview({version}: {version: number}) {
  const none = Object.fromEntries(FILTERS.map((name) => [name, undefined]));
  return (
    <Answered of={useQuestion("events", {...none, by: "platform,build"})} what="the kinds of players">
      {({rows}) => {
        const found = rows
          .map((row) => ({platform: textOf(row.platform), build: textOf(row.build)}))
          .slice(0, MOST_KINDS);
        return <Kinds kinds={found.length === 0 ? [{platform: "", build: ""}] : found} version={version} />;
      }}
    </Answered>
  );
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
      const author = localStorage.getItem(AUTHOR) || "the console";
      const saved = await change("post", "/api/configurations/restore", {game, version, current, author});
      setSaid(`Version ${version} is in force again, as version ${saved.version}.`);
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
            <p class="note">There are none yet.</p>
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
  const again = () => {
    setLoads(loads + 1);
    asked.again();
  };
  return (
    <Answered of={asked} what="the configurations">
      {(current) => (
        <>
          <Section
            title="Values and experiments"
            how="A game has a change at its next session. Every version stays in the history."
          >
            <Editing key={`${current.version} ${loads}`} current={current} onSaved={again} again={again} />
          </Section>
          <Section
            title="Who has what now"
            how="Of the version in force, without what isn't saved yet: the platforms and builds of this time, and a player whose id decides about percentages and groups."
          >
            <Preview version={current.version} />
          </Section>
          <Section title="History">
            <History current={current.version} onSaved={again} />
          </Section>
        </>
      )}
    </Answered>
  );
}
