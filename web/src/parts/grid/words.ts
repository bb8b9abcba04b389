import {words} from '../../words/words';

export const t = words({
  en: {
    filterBy: (title: string) => `Filter by ${title}`,
    filterHelp: 'Text: some of its letters. Number: 12, >10, 10..20. = is empty, ! is not empty.',
    faulty: 'Not a number, >10 or 10..20',
    all: 'Select all rows that are shown', select: 'Select the row', none: '(empty)',
    row: 'row', rows: 'rows', of: (shown: string, all: string) => `${shown} of ${all}`,
    selected: (count: string) => `${count} selected`, nothing: 'No row passes the filters.', empty: 'There are no rows.',
    clear: 'Clear the filters', printed: (first: string, all: string) => `The first ${first} of ${all} rows.`,
    resize: 'Shift with left or right arrow changes the width',
  },
  de: {
    filterBy: (title: string) => `Filtern nach ${title}`,
    filterHelp: 'Text: einige seiner Buchstaben. Zahl: 12, >10, 10..20. = ist leer, ! ist nicht leer.',
    faulty: 'Keine Zahl, nicht >10 oder 10..20',
    all: 'Alle gezeigten Zeilen auswählen', select: 'Die Zeile auswählen', none: '(leer)',
    row: 'Zeile', rows: 'Zeilen', of: (shown: string, all: string) => `${shown} von ${all}`,
    selected: (count: string) => `${count} ausgewählt`, nothing: 'Keine Zeile passt zu den Filtern.', empty: 'Es gibt keine Zeilen.',
    clear: 'Filter aufheben', printed: (first: string, all: string) => `Die ersten ${first} von ${all} Zeilen.`,
    resize: 'Umschalt mit Pfeil links oder rechts ändert die Breite',
  },
});
