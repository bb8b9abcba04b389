import {words} from '../../words/words';

export const t = words({
  en: {
    title: 'Paper and files', revision: 'Revision', allSheets: 'All sheets', allRevisions: 'All revisions',
    gone: 'The sheet or revision of this address is not in the project. All of them are taken.',
    what: 'What do you need?', save: 'Save', print: 'Print', saving: 'The server makes the file …', stop: 'Stop',
    saved: '{name} is saved ({size}).', kind: 'Lines', leaveOut: 'Leave out lines that the format cannot say',
    bars: 'Bars', fabrics: 'Fabrics', bar_spacers: 'Bar spacers', mounting_parts: 'Mounting parts',
    leftOut: 'These lines are not in the file:', large: 'These are {marks} marks: the pages take a while.',
    show: 'Show the pages', preview: 'Bending list: {what}', noPreview: 'This browser does not show PDF in a page. Save it to open it.',
    page: 'page', pages: 'pages', file: 'bending-list', empty: 'There are no sheets, so there is nothing for paper.',
    formats: {
      html: {title: 'Bending list, to print', purpose: 'For the bending yard: marks with sketches, and totals, on pages of A4.'},
      pdf: {title: 'Bending list as PDF', purpose: 'The same pages, to send and to file.'},
      xlsx: {title: 'XLSX', purpose: 'A workbook with a worksheet for each kind of lines, to calculate with.'},
      csv: {title: 'CSV', purpose: 'One kind of lines with all its columns, for programs that read tables.'},
      bvbs: {title: 'BVBS', purpose: 'Records for bending machines and for the software of the yard.'},
      json: {title: 'JSON', purpose: 'All that is stored, in one document: to keep, or to import into another project.'},
      ndjson: {title: 'NDJSON', purpose: 'The same with a record on each line, for programs that read one after the other.'},
    },
  },
  de: {
    title: 'Papier und Dateien', revision: 'Index', allSheets: 'Alle Pläne', allRevisions: 'Alle Indizes',
    gone: 'Den Plan oder Index dieser Adresse gibt es im Projekt nicht. Es werden alle genommen.',
    what: 'Was brauchen Sie?', save: 'Speichern', print: 'Drucken', saving: 'Der Server erstellt die Datei …', stop: 'Abbrechen',
    saved: '{name} ist gespeichert ({size}).', kind: 'Positionen', leaveOut: 'Positionen weglassen, die das Format nicht ausdrücken kann',
    bars: 'Stäbe', fabrics: 'Matten', bar_spacers: 'Abstandhalter', mounting_parts: 'Einbauteile',
    leftOut: 'Diese Positionen fehlen in der Datei:', large: 'Das sind {marks} Positionen: Die Seiten brauchen eine Weile.',
    show: 'Seiten zeigen', preview: 'Biegeliste: {what}', noPreview: 'Dieser Browser zeigt PDF nicht in einer Seite. Speichern Sie die Datei, um sie zu öffnen.',
    page: 'Seite', pages: 'Seiten', file: 'biegeliste', empty: 'Es gibt keine Pläne, also auch nichts für Papier.',
    formats: {
      html: {title: 'Biegeliste zum Drucken', purpose: 'Für den Biegebetrieb: Positionen mit Skizzen und Summen auf A4-Seiten.'},
      pdf: {title: 'Biegeliste als PDF', purpose: 'Dieselben Seiten, zum Verschicken und Ablegen.'},
      xlsx: {title: 'XLSX', purpose: 'Eine Arbeitsmappe mit einem Blatt für jede Art von Positionen, zum Rechnen.'},
      csv: {title: 'CSV', purpose: 'Eine Art von Positionen mit allen Spalten, für Programme, die Tabellen lesen.'},
      bvbs: {title: 'BVBS', purpose: 'Datensätze für Biegemaschinen und für die Software des Biegebetriebs.'},
      json: {title: 'JSON', purpose: 'Alles Gespeicherte in einem Dokument: zum Aufheben oder zum Import in ein anderes Projekt.'},
      ndjson: {title: 'NDJSON', purpose: 'Dasselbe mit einem Datensatz je Zeile, für Programme, die nacheinander lesen.'},
    },
  },
});
