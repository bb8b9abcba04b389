import {counted, words} from '../../words/words';

export const t = words({
  en: {
    sheets: 'Sheets', catalogues: 'Catalogues', record: 'Record of the project', parts: 'Parts of the project',
    find: 'Find a sheet', fold: 'Fold all', unfold: 'Unfold all', name: 'Sheet, revision', bars: 'Bars', fabrics: 'Fabrics',
    spacers: 'Bar spacers', mounting: 'Mounting parts', marks: 'Marks', pieces: 'Pieces', weight: 'Weight, kg',
    sheet: 'Sheet', revision: 'Revision', unnamed: '(without a name)', fields: 'Fields', weights: 'Weights',
    compare: 'Compare with', list: 'Bending list', close: 'Close',
    noRevision: 'It has no revision yet.', noSheet: 'There is no sheet in it yet.',
    noSheetMay: 'Drop .abs or .json files here, or pick them with “Import files …”: their records name sheet and revision.',
    unmatched: 'No sheet has this in its name, its comment or the name of a revision.', all: 'Show all', before: 'Before',
    next: 'Next', pages: 'Pages', range: (from: string, to: string, of: string) => `${from} to ${to} of ${of}`,
    ofAll: 'in all revisions', lacking: (n: number) => `${counted(n, 'mark', 'marks')} without weight`,
    count: {
      sheets: (n: number) => counted(n, 'sheet', 'sheets'), revisions: (n: number) => counted(n, 'revision', 'revisions'),
      lines: (n: number) => counted(n, 'line', 'lines'),
    },
    steels: 'Steels', fabricTypes: 'Fabric types', usedBy: 'Used by', unused: 'not used',
    uses: (lines: string, revisions: string) => `${lines} in ${revisions}`, none: 'There is none.', more: 'Show all',
    gone: 'a revision that is not there', stored: 'Stored fields',
  },
  de: {
    sheets: 'Pläne', catalogues: 'Kataloge', record: 'Angaben zum Projekt', parts: 'Teile des Projekts',
    find: 'Plan suchen', fold: 'Alle zuklappen', unfold: 'Alle aufklappen', name: 'Plan, Index', bars: 'Stäbe',
    fabrics: 'Matten', spacers: 'Abstand\u00adhalter', mounting: 'Einbau\u00adteile', marks: 'Posi\u00adtionen', pieces: 'Stück',
    weight: 'Gewicht, kg', sheet: 'Plan', revision: 'Index', unnamed: '(ohne Namen)', fields: 'Angaben', weights: 'Gewichte',
    compare: 'Vergleich mit', list: 'Biegeliste', close: 'Schließen',
    noRevision: 'Er hat noch keinen Index.', noSheet: 'Es ist noch kein Plan darin.',
    noSheetMay: 'Legen Sie .abs- oder .json-Dateien hier ab, oder wählen Sie sie mit „Dateien einlesen …“: Ihre Sätze nennen Plan und Index.',
    unmatched: 'Kein Plan hat das in seinem Namen, seiner Bemerkung oder dem Namen eines Index.', all: 'Alle zeigen',
    before: 'Zurück', next: 'Weiter', pages: 'Seiten', range: (from: string, to: string, of: string) => `${from} bis ${to} von ${of}`,
    ofAll: 'in allen Indizes', lacking: (n: number) => `${counted(n, 'Position', 'Positionen')} ohne Gewicht`,
    count: {
      sheets: (n: number) => counted(n, 'Plan', 'Pläne'), revisions: (n: number) => counted(n, 'Index', 'Indizes'),
      lines: (n: number) => counted(n, 'Zeile', 'Zeilen'),
    },
    steels: 'Stahlsorten', fabricTypes: 'Mattentypen', usedBy: 'Verwendet von', unused: 'nicht verwendet',
    uses: (lines: string, revisions: string) => `${lines} in ${revisions}`, none: 'Keine.', more: 'Alle zeigen',
    gone: 'ein Index, den es nicht gibt', stored: 'Gespeicherte Angaben',
  },
});
