// Bars of kilograms that read without colours: hatched by steel, each with its name and value.

import {useId} from 'preact/hooks';

import {fixed, words} from '../words/words';

const t = words({
  en: {unknown: 'weight unknown', estimated: 'estimated', desc: 'The table beside it has the same values.'},
  de: {unknown: 'Gewicht unbekannt', estimated: 'geschätzt', desc: 'Die Tabelle daneben hat dieselben Werte.'},
});

export interface ChartRow {
  label: string;
  /** Rows of one series have one hatching. */
  series: string;
  /** Null where no weight is known. */
  value: number | null;
  /** Of what is not known; drawn apart. */
  estimate: number;
}

/** Hatchings, as lines in a square of 8. After the last they begin anew. */
const kHatchings = [
  'M0 0H8V8H0Z',
  'M-2 2L2 -2M0 8L8 0M6 10L10 6',
  'M0 4H8M4 0V8',
  'M-2 6L2 10M0 0L8 8M6 -2L10 2',
  'M0 2H8M0 6H8',
  'M2 0V8M6 0V8',
];
const kRowHeight = 46;
const kBar = {top: 22, height: 14};

function cut(text: string): string {
  return text.length > 40 ? text.slice(0, 40) + '…' : text;
}

/** `series`: all that charts of one page have, so that each is hatched alike in all of them. */
export function Chart(props: {title: string; rows: ChartRow[]; series: string[]}) {
  const id = useId();
  const {series} = props;
  const most = Math.max(...props.rows.map((row) => Math.max(row.value ?? 0, row.estimate)), Number.MIN_VALUE);
  const percent = (value: number) => `${((100 * value) / most).toFixed(3)}%`;
  return (
    <svg class="chart" width="100%" height={props.rows.length * kRowHeight} role="img"
      aria-labelledby={`${id}-title`} aria-describedby={`${id}-desc`}>
      <title id={`${id}-title`}>{props.title}</title>
      <desc id={`${id}-desc`}>{t.desc}</desc>
      <defs>
        {series.map((_, i) => (
          <pattern key={i} id={`${id}-${i}`} width="8" height="8" patternUnits="userSpaceOnUse">
            <path d={kHatchings[i % kHatchings.length]} class={i % kHatchings.length === 0 ? 'full' : 'hatch'} />
          </pattern>
        ))}
      </defs>
      {props.rows.map((row, i) => (
        <g key={i} transform={`translate(0 ${i * kRowHeight})`}>
          <text x="0" y="15">{cut(row.label)}{row.series && ` · ${cut(row.series)}`}</text>
          <text x="100%" y="15" text-anchor="end" class="value">
            {row.value === null ? t.unknown : `${fixed(row.value, 2)} kg`}
            {row.estimate > 0 && `, ${t.estimated} ${fixed(row.estimate, 2)} kg`}
          </text>
          {row.value !== null && row.value > 0 && (
            <rect class="known" x="0" y={kBar.top} width={percent(row.value)} height={kBar.height}
              fill={`url(#${id}-${series.indexOf(row.series)})`} />
          )}
          {row.estimate > 0 && (
            <rect class="estimate" x="0" y={row.value ? kBar.top + kBar.height + 3 : kBar.top}
              width={percent(row.estimate)} height={row.value ? 4 : kBar.height} />
          )}
        </g>
      ))}
    </svg>
  );
}
