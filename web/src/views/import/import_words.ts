import {counted, number, words} from '../../words/words';
import type {Phase} from './batch';

const en = {
  title: 'Import', files: 'Import files …', drop: 'or drop them here', dropNow: 'Drop the files to import them',
  target: 'Where to', isNew: 'A new project', isThere: 'A project that is there', name: 'Name of the file',
  project: 'Project', check: 'Check the files', folders: 'Folders are not read: drop the files in them.',
  into: 'into', close: 'Close', cancel: 'Cancel', stop: 'Stop after this file',
  stopping: 'It stops after this file.', again: 'Check it again', copy: 'Copy', copied: 'Copied.',
  save: 'Save as text', storeRest: (lines: string) => `Store the rest: ${lines}`,
  nothingUsable: 'Nothing of this file can be stored.', onlyFaulty: 'Nothing of it is stored unless you tick:',
  filled: (revision: string, had: string, come: string) => `${revision} has ${had} already. The file has ${come} for it.`,
  replace: 'Replace them', append: 'Append to them', skip: 'Skip this file', skipAll: 'Skip these files', choose: 'There are lines already',
  forAll: 'For all files:', sheet: 'Sheet', revision: 'revision', unnamed: '(without a name)',
  willBe: 'To be stored', nothing: 'Nothing in it would be stored.', notes: 'Notes', passedOver: 'Records of other kinds',
  tooLarge: 'The file is larger than the server takes.',
  unsure: 'It may have been stored all the same: look before you repeat it.',
  mayBeTooLarge: 'The file may be larger than the server takes: some servers end the connection then.',
  undecided: (files: string) => `Say first what to do with ${files}.`,
  import: (files: string) => `Import ${files}`, open: 'Open the project', shown: (many: string) => `The first ${many} are shown.`,
  line: 'Line', reason: 'Reason', toStore: 'Stored', leftOut: 'Left out', more: 'Show all',
  phases: {
    waiting: 'waits', checking: 'is sent', checked: 'is checked', refused: 'cannot be stored', failed: 'has failed',
    storing: 'is sent', stored: 'is stored', left: 'is left out', stopped: 'is left out',
  } satisfies Record<Phase, string>,
  beingChecked: 'is being checked', beingStored: 'is being stored',
  checkingAll: (at: string, of: string) => `File ${at} of ${of} is being checked.`,
  storingAll: (at: string, of: string) => `File ${at} of ${of} is being stored.`,
  done: (stored: string, of: string) => `${stored} of ${of} stored.`,
  count: {
    file: (n: number) => counted(n, 'file', 'files'), fault: (n: number) => counted(n, 'faulty record', 'faulty records'),
    line: (n: number) => counted(n, 'line', 'lines'), bars: (n: number) => counted(n, 'bar', 'bars'),
    fabrics: (n: number) => counted(n, 'fabric', 'fabrics'), spacers: (n: number) => counted(n, 'bar spacer', 'bar spacers'),
    parts: (n: number) => counted(n, 'mounting part', 'mounting parts'), note: (n: number) => counted(n, 'note', 'notes'),
  },
};

const de: typeof en = {
  title: 'Einlesen', files: 'Dateien einlesen …', drop: 'oder hier ablegen', dropNow: 'Zum Einlesen hier ablegen',
  target: 'Wohin', isNew: 'Ein neues Projekt', isThere: 'Ein vorhandenes Projekt', name: 'Name der Datei',
  project: 'Projekt', check: 'Dateien prüfen', folders: 'Ordner werden nicht gelesen: Legen Sie die Dateien darin ab.',
  into: 'in', close: 'Schließen', cancel: 'Abbrechen', stop: 'Nach dieser Datei anhalten',
  stopping: 'Nach dieser Datei wird angehalten.', again: 'Noch einmal prüfen', copy: 'Kopieren', copied: 'Kopiert.',
  save: 'Als Text sichern', storeRest: (lines) => `Den Rest speichern: ${lines}`,
  nothingUsable: 'Aus dieser Datei kann nichts gespeichert werden.',
  onlyFaulty: 'Nichts davon wird gespeichert, außer Sie kreuzen an:',
  filled: (revision, had, come) => `${revision} hat schon ${had}. Die Datei hat ${come} dafür.`,
  replace: 'Ersetzen', append: 'Anhängen', skip: 'Datei auslassen', skipAll: 'Diese Dateien auslassen', choose: 'Zeilen sind schon da',
  forAll: 'Für alle Dateien:', sheet: 'Plan', revision: 'Index', unnamed: '(ohne Namen)',
  willBe: 'Wird gespeichert', nothing: 'Nichts daraus würde gespeichert.', notes: 'Hinweise',
  passedOver: 'Sätze anderer Art', tooLarge: 'Die Datei ist größer, als der Server annimmt.',
  unsure: 'Sie kann trotzdem gespeichert sein: Sehen Sie nach, bevor Sie es wiederholen.',
  mayBeTooLarge: 'Vielleicht ist die Datei größer, als der Server annimmt: Manche Server trennen dann die Verbindung.',
  undecided: (files) => `Sagen Sie zuerst, was mit ${files} geschieht.`,
  import: (files) => `${files} einlesen`, open: 'Projekt öffnen', shown: (many) => `Die ersten ${many} sind gezeigt.`,
  line: 'Zeile', reason: 'Grund', toStore: 'Gespeichert', leftOut: 'Ausgelassen', more: 'Alle zeigen',
  phases: {
    waiting: 'wartet', checking: 'wird gesendet', checked: 'ist geprüft', refused: 'ist nicht zu speichern',
    failed: 'ist gescheitert', storing: 'wird gesendet', stored: 'ist gespeichert', left: 'ist ausgelassen',
    stopped: 'ist ausgelassen',
  },
  beingChecked: 'wird geprüft', beingStored: 'wird gespeichert',
  checkingAll: (at, of) => `Datei ${at} von ${of} wird geprüft.`,
  storingAll: (at, of) => `Datei ${at} von ${of} wird gespeichert.`,
  done: (stored, of) => `${stored} von ${of} gespeichert.`,
  count: {
    file: (n) => counted(n, 'Datei', 'Dateien'), fault: (n) => counted(n, 'fehlerhafter Satz', 'fehlerhafte Sätze'),
    line: (n) => counted(n, 'Zeile', 'Zeilen'), bars: (n) => counted(n, 'Stab', 'Stäbe'),
    fabrics: (n) => counted(n, 'Matte', 'Matten'), spacers: (n) => counted(n, 'Abstandhalter', 'Abstandhalter'),
    parts: (n) => counted(n, 'Einbauteil', 'Einbauteile'), note: (n) => counted(n, 'Hinweis', 'Hinweise'),
  },
};

export const t = words({en, de});

/** "16 bars, 3 fabrics": what there is of. */
export function contentText(counts: {bars: number; fabrics: number; bar_spacers: number; mounting_parts: number}): string {
  const {bars, fabrics, spacers, parts} = t.count;
  const texts = [
    counts.bars > 0 && bars(counts.bars), counts.fabrics > 0 && fabrics(counts.fabrics),
    counts.bar_spacers > 0 && spacers(counts.bar_spacers), counts.mounting_parts > 0 && parts(counts.mounting_parts),
  ].filter((text) => text !== false);
  return texts.length > 0 ? texts.join(', ') : number(0);
}
