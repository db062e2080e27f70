// Numbers and times in the reader's way.

const whole_ = new Intl.NumberFormat(undefined, {maximumFractionDigits: 0});
const number_ = new Intl.NumberFormat(undefined, {maximumFractionDigits: 2});
const fine_ = new Intl.NumberFormat(undefined, {maximumSignificantDigits: 3});
const short_ = new Intl.NumberFormat(undefined, {notation: "compact", maximumFractionDigits: 2});
const huge_ = new Intl.NumberFormat(undefined, {notation: "scientific", maximumFractionDigits: 2});
const share_ = new Intl.NumberFormat(undefined, {style: "percent", maximumFractionDigits: 1});
const wholeShare_ = new Intl.NumberFormat(undefined, {style: "percent", maximumFractionDigits: 0});
const day_ = new Intl.DateTimeFormat(undefined, {timeZone: "UTC", dateStyle: "medium"});
const shortDay_ = new Intl.DateTimeFormat(undefined, {timeZone: "UTC", day: "numeric", month: "short"});
const moment_ = new Intl.DateTimeFormat(undefined, {dateStyle: "medium", timeStyle: "medium"});
const clock_ = new Intl.DateTimeFormat(undefined, {timeStyle: "medium"});
const hour_ = new Intl.DateTimeFormat(undefined, {timeZone: "UTC", hour: "2-digit"});

const NONE = "–";
const or =
  (format: (value: number) => string) =>
  (value: number | null | undefined): string =>
    value === null || value === undefined || Number.isNaN(value) ? NONE : format(value);

// Beyond this nobody counts digits, and a double has no more of them.
const HUGE = 1e15;
const formatOf = (value: number, usual: Intl.NumberFormat): Intl.NumberFormat => {
  const size = Math.abs(value);
  return size >= HUGE ? huge_ : size > 0 && size < 1 ? fine_ : usual;
};

export const whole = or((value) => (Math.abs(value) >= HUGE ? huge_ : whole_).format(value));
// Two digits behind the point, of small numbers as many as it takes.
export const number = or((value) => formatOf(value, number_).format(value));
export const short = or((value) => formatOf(value, Math.abs(value) < 1000 ? number_ : short_).format(value));
export const wholeShare = or((value) => wholeShare_.format(value));
export const share = or((value) => share_.format(value));
export const change = (value: number): string => `${value > 0 ? "+" : ""}${share_.format(value)}`;

// A difference, with its sign: what isn't 0 doesn't look like it.
const signed_ = new Intl.NumberFormat(undefined, {
  minimumFractionDigits: 2,
  maximumFractionDigits: 2,
  signDisplay: "exceptZero",
});
const signedFine_ = new Intl.NumberFormat(undefined, {maximumSignificantDigits: 1, signDisplay: "exceptZero"});
export const signed = (value: number): string => (Math.abs(value) < 0.01 ? signedFine_ : signed_).format(value);
export const signedPoints = (share: number): string => signed(100 * share);

export const day = (text: string): string => day_.format(new Date(`${text}T00:00:00Z`));
export const shortDay = (seconds: number): string => shortDay_.format(new Date(seconds * 1000));
export const moment = or((seconds) => moment_.format(new Date(seconds * 1000)));
export const clock = or((seconds) => clock_.format(new Date(seconds * 1000)));
export const hour = (value: number): string => hour_.format(new Date(value * 3_600_000));

const unit = (name: string) =>
  new Intl.NumberFormat(undefined, {style: "unit", unit: name, unitDisplay: "narrow", maximumFractionDigits: 0});
const UNITS = [
  ["day", 86400],
  ["hour", 3600],
  ["minute", 60],
  ["second", 1],
] as const;
const units = new Map(UNITS.map(([name]) => [name, unit(name)]));

// The two largest units of a length: "5m 12s".
export const duration = or((seconds) => {
  let rest = Math.round(seconds);
  const parts: string[] = [];
  for (const [name, size] of UNITS) {
    const count = Math.floor(rest / size);
    rest -= count * size;
    if (count > 0 || (size === 1 && parts.length === 0)) parts.push(units.get(name)!.format(count));
    if (parts.length === 2) break;
  }
  return parts.join(" ");
});

const minutes_ = new Intl.NumberFormat(undefined, {
  style: "unit",
  unit: "minute",
  unitDisplay: "short", // a narrow one would be read as millions
  maximumFractionDigits: 1,
});
export const minutes = or((seconds) => minutes_.format(seconds / 60));

export const many = (count: number, one: string, more = `${one}s`): string =>
  `${whole(count)} ${count === 1 ? one : more}`;

const BYTES = ["byte", "kilobyte", "megabyte", "gigabyte", "terabyte"];
export const bytes = or((value) => {
  const step = Math.min(BYTES.length - 1, Math.max(0, Math.floor(Math.log(Math.max(1, value)) / Math.log(1000))));
  const unitDisplay = step === 0 ? "long" : "short";
  const style = {style: "unit", unit: BYTES[step], unitDisplay, maximumFractionDigits: 1} as const;
  return new Intl.NumberFormat(undefined, style).format(value / 1000 ** step);
});

type Style = Pick<Intl.NumberFormatOptions, "notation" | "minimumFractionDigits" | "maximumFractionDigits">;
const currencies = new Map<string, Intl.NumberFormat | null>();
function currencyFormat(currency: string, style: Style = {}): Intl.NumberFormat | null {
  const key = JSON.stringify([currency, style]);
  if (!currencies.has(key)) {
    try {
      currencies.set(key, new Intl.NumberFormat(undefined, {style: "currency", currency, ...style}));
    } catch {
      currencies.set(key, null); // games may write what no country has
    }
  }
  return currencies.get(key) ?? null;
}

const digitsOf = (currency: string): number => currencyFormat(currency)?.resolvedOptions().maximumFractionDigits ?? 2;

// How many of its smallest unit a currency's unit has: 100 cents are a dollar, a yen is its own.
export const unitsOf = (currency: string): number => 10 ** digitsOf(currency);

// An amount of whole units, such as dollars. What a player pays on average may be a part of a cent: below a unit three
// digits of it are shown, however small it is, zeros too, so that a column has as many throughout. A price is shown as it is.
export function moneyWhole(amount: number | null | undefined, currency: string): string {
  return or((value) => {
    const usual = digitsOf(currency);
    const smallest = value * 10 ** usual;
    const isPrice = Math.abs(smallest - Math.round(smallest)) < 1e-6;
    const needed = isPrice ? 0 : Math.min(12, 2 - Math.floor(Math.log10(Math.abs(value))));
    const digits = Math.max(usual, needed);
    const style =
      Math.abs(value) >= HUGE
        ? ({notation: "scientific", maximumFractionDigits: 2} as const)
        : {minimumFractionDigits: Math.abs(value) < 1 ? digits : usual, maximumFractionDigits: digits};
    return currencyFormat(currency, style)?.format(value) ?? `${number(value)} ${currency}`;
  })(amount);
}

// The same along an axis.
export const moneyShort = (amount: number, currency: string): string =>
  currencyFormat(currency, {notation: "compact", minimumFractionDigits: 0, maximumFractionDigits: 2})?.format(amount) ??
  `${short(amount)} ${currency}`;

// An amount of the smallest units, as games report purchases.
export function money(amount: number | null | undefined, currency: string): string {
  return moneyWhole(amount === null || amount === undefined ? null : amount / unitsOf(currency), currency);
}
