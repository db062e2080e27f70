// Saves what was edited as a new version, and says what became of it. Whoever was overtaken by somebody else keeps what
// they edited, and decides with both before them.
import {useEffect, useState} from "preact/hooks";
import {useView} from "../address";
import {change, Failure, get} from "../api";
import {wordsOf} from "../asked";
import {placesInWords, type Document, type Version} from "../configuration";
import {Record} from "./record";

const AUTHOR = "zorvane-author"; // who edited here last, so that it needn't be typed again
export const author = (): string => localStorage.getItem(AUTHOR) ?? "";

const CONFLICT = 409;

function Overtaken({by, over, load}: {by: Version; over: () => void; load: () => void}) {
  return (
    <div class="trouble" role="alert">
      <p>
        <strong>
          Nothing was saved: <bdi>{by.author}</bdi> has saved version {by.version} meanwhile.
        </strong>{" "}
        What you edited is still here.
      </p>
      <details>
        <summary>See version {by.version}</summary>
        <Record record={by.document} />
      </details>
      <p class="choices">
        <button type="button" onClick={load}>
          Discard mine, load theirs
        </button>
        <button type="button" class="danger" onClick={over}>
          Save mine in place of theirs
        </button>
      </p>
    </div>
  );
}

export function Saving({
  current,
  draft,
  isChanged,
  isSaved,
  onSaved,
  load,
}: {
  current: Version;
  draft: Document;
  isChanged: boolean;
  isSaved: boolean; // by this reader, a moment ago
  onSaved: (version: number) => void;
  load: () => void;
}) {
  const {game = ""} = useView().values;
  const [name, setName] = useState(author());
  const [note, setNote] = useState("");
  const [said, setSaid] = useState("");
  const [other, setOther] = useState<Version | null>(null);
  useEffect(() => setSaid(""), [draft]); // it was said of another draft

  const explain = async (failure: unknown, version: number) => {
    if (failure instanceof Failure && failure.status === CONFLICT) {
      const latest = (await get("/api/configurations", {game})) as unknown as Version;
      if (latest.version !== version) return setOther(latest);
    }
    setSaid(`Nothing was saved: ${placesInWords(wordsOf(failure))}.`);
  };
  const save = async (version: number) => {
    setSaid("Saving.");
    setOther(null);
    try {
      localStorage.setItem(AUTHOR, name);
      const saved = await change("put", "/api/configurations", {game, version, author: name, note}, draft);
      onSaved(saved.version);
    } catch (failure) {
      setSaid("");
      await explain(failure, version).catch((next) => setSaid(`Nothing was saved: ${wordsOf(next)}.`));
    }
  };
  const usual = !isChanged
    ? isSaved &&
      `Saved as version ${current.version}. A player has it from their next session on; sessions that run keep what they have.`
    : other === null && "There are changes that aren't saved.";
  return (
    <form
      class="choices"
      onSubmit={(event) => {
        event.preventDefault();
        save(current.version);
      }}
    >
      <label>
        Your name
        <input name="author" required value={name} onInput={({currentTarget: {value}}) => setName(value)} />
      </label>
      <label>
        Why
        <input name="note" value={note} onInput={({currentTarget: {value}}) => setNote(value)} />
      </label>
      <button type="submit" class="main" disabled={!isChanged}>
        Save
      </button>
      <p role="status">{said || usual}</p>
      {other !== null && <Overtaken by={other} over={() => save(other.version)} load={load} />}
    </form>
  );
}
