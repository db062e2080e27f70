// The form that a document of configurations is edited in.
import {
  movedUp,
  replacedAt,
  textOfValue,
  tidied,
  valueOfText,
  withoutAt,
  type Document,
  type Entry,
  type Experiment,
  type Group,
} from "../configuration";
import {ConditionFields, NumberField, TextField} from "./fields";

interface ListProps<Item> {
  items: readonly Item[];
  set: (items: readonly Item[]) => void;
  isOff: boolean;
}

function Order<Item>({items, index, set, isOff, what}: ListProps<Item> & {index: number; what: string}) {
  if (isOff) return null;
  return (
    <div class="order">
      <button type="button" disabled={index === 0} onClick={() => set(movedUp(items, index))}>
        Up
      </button>
      <button type="button" class="danger" onClick={() => set(withoutAt(items, index))} aria-label={`Remove ${what}`}>
        Remove
      </button>
    </div>
  );
}

function Add({what, add, isOff}: {what: string; add: () => void; isOff: boolean}) {
  if (isOff) return null;
  return (
    <p>
      <button type="button" onClick={add}>
        Add {what}
      </button>
    </p>
  );
}

function Entries({items, set, isOff, isPlain}: ListProps<Entry> & {isPlain?: boolean}) {
  return (
    <>
      <ol class="entries">
        {items.map((entry, index) => {
          const change = (changes: Partial<Entry>) => set(replacedAt(items, index, tidied({...entry, ...changes})));
          return (
            <li key={index} class="choices">
              <TextField title="Key" value={entry.key} set={(key) => change({key})} isOff={isOff} />
              <TextField
                title="Value"
                value={textOfValue(entry.value)}
                set={(text) => change({value: valueOfText(text, entry.value)})}
                isOff={isOff}
              />
              {!isPlain && <ConditionFields of={entry} set={change} isOff={isOff} />}
              <Order items={items} index={index} set={set} isOff={isOff} what={entry.key} />
            </li>
          );
        })}
      </ol>
      <Add what="a value" add={() => set([...items, {key: "", value: ""}])} isOff={isOff} />
    </>
  );
}

function Groups({items, set, isOff}: ListProps<Group>) {
  return (
    <>
      <ol class="entries">
        {items.map((group, index) => {
          const change = (changes: Partial<Group>) => set(replacedAt(items, index, tidied({...group, ...changes})));
          return (
            <li key={index}>
              <div class="choices">
                <TextField title="Group" value={group.id} set={(id) => change({id})} isOff={isOff} />
                <NumberField
                  title="Weight"
                  value={group.weight}
                  most={1_000_000}
                  usual={1}
                  set={(weight) => change({weight})}
                  isOff={isOff}
                />
                <Order items={items} index={index} set={set} isOff={isOff} what={group.id} />
              </div>
              <Entries
                items={group.configurations ?? []}
                set={(configurations) => change({configurations})}
                isOff={isOff}
                isPlain
              />
            </li>
          );
        })}
      </ol>
      <Add what="a group" add={() => set([...items, {id: ""}])} isOff={isOff} />
    </>
  );
}

function Experiments({items, set, isOff}: ListProps<Experiment>) {
  const fresh: Experiment = {id: "", groups: [{id: "a"}, {id: "b"}]};
  return (
    <>
      {items.map((experiment, index) => {
        const change = (changes: Partial<Experiment>) =>
          set(replacedAt(items, index, tidied({...experiment, ...changes})));
        return (
          <fieldset key={index}>
            <legend>
              <bdi>{experiment.id === "" ? "a new experiment" : experiment.id}</bdi>
            </legend>
            <div class="choices">
              <TextField title="Experiment" value={experiment.id} set={(id) => change({id})} isOff={isOff} />
              <ConditionFields of={experiment} set={change} isOff={isOff} />
              <Order items={items} index={index} set={set} isOff={isOff} what={experiment.id} />
            </div>
            <Groups
              items={experiment.groups}
              set={(groups) => set(replacedAt(items, index, {...experiment, groups}))}
              isOff={isOff}
            />
          </fieldset>
        );
      })}
      <Add what="an experiment" add={() => set([...items, fresh])} isOff={isOff} />
    </>
  );
}

export function ConfigurationEditor({
  document,
  set,
  isOff,
}: {
  document: Document;
  set: (document: Document) => void;
  isOff: boolean;
}) {
  return (
    <>
      <h3>Values</h3>
      <p class="how">
        Of the values of a key that fit a player, the last counts: put the general one first, exceptions below it.
      </p>
      <Entries
        items={document.configurations ?? []}
        set={(configurations) => set({...document, configurations})}
        isOff={isOff}
      />
      <h3>Experiments</h3>
      <p class="how">
        A player is in the first experiment that fits, and stays in a group. To have more players in it, raise its
        percentage: other weights would move players between groups.
      </p>
      <Experiments
        items={document.experiments ?? []}
        set={(experiments) => set({...document, experiments})}
        isOff={isOff}
      />
    </>
  );
}
