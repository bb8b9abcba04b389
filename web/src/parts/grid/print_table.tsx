import {options} from 'preact';
import {useEffect, useState} from 'preact/hooks';

import {number} from '../../words/words';
import {cellText, type GridColumn} from './columns';
import type {Rows} from './order';
import {t} from './words';

const kPrinted = 500;

/** Whether the page is being printed. Known before the browser takes the page, as nothing can be
 * drawn later: what changes is drawn at once. */
export function usePrinting(): boolean {
  const [isPrinting, setIsPrinting] = useState(false);
  useEffect(() => {
    const set = (value: boolean) => {
      const later = options.debounceRendering;
      options.debounceRendering = (draw) => draw();
      setIsPrinting(value);
      if (later) options.debounceRendering = later;
      else delete options.debounceRendering;
    };
    const before = () => set(true);
    const after = () => set(false);
    addEventListener('beforeprint', before);
    addEventListener('afterprint', after);
    return () => {
      removeEventListener('beforeprint', before);
      removeEventListener('afterprint', after);
    };
  }, []);
  return isPrinting;
}

/** The rows as paper takes them: a table whose titles stand on every page. */
export function PrintTable(props: {columns: readonly GridColumn[]; rows: Rows; shown: readonly number[]}) {
  const columns = props.columns.map((column, c) => ({...column, at: column.at ?? c})).filter((column) => !column.render);
  const isCut = props.shown.length > kPrinted;
  return (
    <div class="grid-print">
      {isCut && <p>{t.printed(number(kPrinted), number(props.shown.length))}</p>}
      <table>
        <thead>
          <tr>{columns.map((column) => (
            <th key={column.name} class={column.kind}><bdi>{column.title}</bdi>{column.unit && ` [${column.unit}]`}</th>
          ))}</tr>
        </thead>
        <tbody>
          {props.shown.slice(0, kPrinted).map((row) => (
            <tr key={row}>{columns.map((column) => (
              <td key={column.name} class={column.kind}><bdi>{cellText(props.rows[row]![column.at] ?? null, column)}</bdi></td>
            ))}</tr>
          ))}
        </tbody>
      </table>
    </div>
  );
}
