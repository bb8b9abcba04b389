// Comma-separated values, as the server writes them: numbers exact, no value as nothing, an empty text as "".

import type {Cell} from 'korvane-client';

function csvCell(value: Cell | boolean): string {
  if (value === null) return '';
  if (typeof value !== 'string') return String(value);
  return value === '' || /[",\r\n]/.test(value) ? `"${value.replaceAll('"', '""')}"` : value;
}

export function csv(columns: string[], rows: (Cell | boolean)[][]): Blob {
  const lines = [columns, ...rows].map((row) => row.map(csvCell).join(',') + '\r\n');
  return new Blob(lines, {type: 'text/csv;charset=utf-8'});
}
