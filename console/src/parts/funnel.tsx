// Steps as bars: how many came to each, how many of them got through, were lost there, and went on.
import {share, whole} from "../format";
import {ratio} from "../rows";

export interface Step {
  readonly title: string;
  readonly whole: number;
  readonly part: number;
  readonly lost: number; // on the way
  readonly wentOn: number | null; // to another step; null behind the last one
}

const partOf = (part: number, all: number): string => `${whole(part)} (${share(ratio(part, all))})`;
const lengthOf = (value: number, most: number) => ({"--part": most === 0 ? 0 : value / most});

export function Funnel({caption, steps}: {caption: string; steps: readonly Step[]}) {
  const most = Math.max(0, ...steps.map((step) => step.whole));
  return (
    <div class="wide" tabIndex={0} role="region" aria-label={caption}>
      <table class="funnel">
        <caption>{caption}</caption>
        <thead>
          <tr>
            <th scope="col">Level</th>
            <th scope="col">Players</th>
            <th scope="col" class="of-numbers">
              Started
            </th>
            <th scope="col" class="of-numbers">
              Stopped here
            </th>
            <th scope="col" class="of-numbers">
              Completed
            </th>
            <th scope="col" class="of-numbers">
              Completed and went on
            </th>
          </tr>
        </thead>
        <tbody>
          {steps.map((step) => (
            <tr key={step.title}>
              <th scope="row">
                <bdi>{step.title}</bdi>
              </th>
              <td class="bars" aria-hidden="true">
                <span class="bar-of-whole" style={lengthOf(step.whole, most)} />
                <span class="bar-of-part" style={lengthOf(step.part, most)} />
              </td>
              <td class="of-numbers">{whole(step.whole)}</td>
              <td class="of-numbers">{partOf(step.lost, step.whole)}</td>
              <td class="of-numbers">{partOf(step.part, step.whole)}</td>
              <td class="of-numbers">{step.wentOn === null ? "the end" : partOf(step.wentOn, step.part)}</td>
            </tr>
          ))}
        </tbody>
      </table>
    </div>
  );
}
