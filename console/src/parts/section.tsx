// A part of a page: its heading, what it shows, how the number is made, and the rows behind it.
import type {ComponentChildren} from "preact";
import {addressElsewhere, useView, type Changes} from "../address";

interface Props {
  title: string;
  how?: string; // a sentence
  rows?: Changes; // what the page of rows is asked for
  children: ComponentChildren;
}

export function Section({title, how, rows, children}: Props) {
  const view = useView();
  return (
    <section>
      <h2>{title}</h2>
      {children}
      {(how !== undefined || rows) && (
        <p class="how">
          {how} {rows && <a href={addressElsewhere(view, "rows", rows)}>See the rows behind it</a>}
        </p>
      )}
    </section>
  );
}
