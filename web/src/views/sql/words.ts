import {words} from '../../words/words';

export const t = words({
  en: {
    title: 'SQL', label: 'SQL query', hint: 'select … from bars', run: 'Run', runKeys: 'Ctrl+Enter runs', stop: 'Stop',
    readOnly: 'Queries of this page only read: they change nothing, whatever your token allows.',
    examples: 'Examples', history: 'Queries of this tab', choose: 'Choose …', tables: 'Tables and views', view: 'view',
    table: 'table', running: 'The query runs …', stopped: 'The query was stopped.', row: 'row', rows: 'rows',
    took: '{count} in {time} ms', cut: 'The server gives at most {count} rows: there are more.',
    where: 'Line {line}, column {column}.', saveCsv: 'Save as CSV', saveJson: 'Save as JSON', result: 'Result', fileWord: 'query',
    bytes: 'A column of bytes, such as raw, cannot be shown: name the other columns, or take hex(…) of it.',
    truth: 'A column of truth values, such as is_list_fabric, is not given as it is: name the other columns, or write is_list_fabric + 0.',
    noColumns: 'The statement gives no columns.',
  },
  de: {
    title: 'SQL', label: 'SQL-Abfrage', hint: 'select … from bars', run: 'Ausführen', runKeys: 'Strg+Enter führt aus', stop: 'Abbrechen',
    readOnly: 'Abfragen dieser Seite lesen nur: Sie ändern nichts, was auch immer Ihr Token erlaubt.',
    examples: 'Beispiele', history: 'Abfragen dieses Tabs', choose: 'Wählen …', tables: 'Tabellen und Sichten', view: 'Sicht',
    table: 'Tabelle', running: 'Die Abfrage läuft …', stopped: 'Die Abfrage wurde abgebrochen.', row: 'Zeile', rows: 'Zeilen',
    took: '{count} in {time} ms', cut: 'Der Server gibt höchstens {count} Zeilen: Es gibt mehr.',
    where: 'Zeile {line}, Spalte {column}.', saveCsv: 'Als CSV speichern', saveJson: 'Als JSON speichern', result: 'Ergebnis',
    fileWord: 'abfrage',
    bytes: 'Eine Spalte mit Bytes wie raw kann nicht gezeigt werden: Nennen Sie die anderen Spalten, oder nehmen Sie hex(…) davon.',
    truth: 'Eine Spalte mit Wahrheitswerten wie is_list_fabric wird so nicht gegeben: Nennen Sie die anderen Spalten, oder schreiben Sie is_list_fabric + 0.',
    noColumns: 'Die Anweisung ergibt keine Spalten.',
  },
});
