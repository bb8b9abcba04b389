// What people read, in the language of their browser. Each view has its own words beside it.

export type Language = 'en' | 'de';

export const language: Language = navigator.language.toLowerCase().startsWith('de') ? 'de' : 'en';

/** The words in the browser's language. Both languages have the same, or it does not compile. */
export function words<Words extends object>(both: {en: Words; de: Words}): Words {
  return both[language];
}

/** "1 bar", "12 bars": the number as people write it, and the word for one or many. */
export function counted(count: number, one: string, many: string): string {
  return `${number(count)} ${count === 1 ? one : many}`;
}

const formats = new Map<number, Intl.NumberFormat>();

/** A number as people of the browser's language write it, rounded to so many decimals. */
export function number(value: number, decimals = 3): string {
  let format = formats.get(decimals);
  if (!format) {
    format = new Intl.NumberFormat(navigator.language, {maximumFractionDigits: decimals});
    formats.set(decimals, format);
  }
  return format.format(value);
}

/** The same with all its decimals: columns of sums line up. */
export function fixed(value: number, decimals: number): string {
  return new Intl.NumberFormat(navigator.language, {
    minimumFractionDigits: decimals,
    maximumFractionDigits: decimals,
  }).format(value);
}

/** A size of a file: "72 KB". */
export function bytes(size: number): string {
  const units = ['B', 'KB', 'MB', 'GB', 'TB'];
  let unit = 0;
  let rest = size;
  while (rest >= 1000 && unit < units.length - 1) {
    rest /= 1000;
    unit += 1;
  }
  return `${number(rest, rest < 10 && unit > 0 ? 1 : 0)} ${units[unit]}`;
}

/** A time of an ISO text, or the text where it is none. */
export function time(iso: string): string {
  const date = new Date(iso);
  if (Number.isNaN(date.getTime())) return iso;
  return new Intl.DateTimeFormat(navigator.language, {dateStyle: 'medium', timeStyle: 'short'}).format(date);
}
