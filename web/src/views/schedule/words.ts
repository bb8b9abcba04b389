import type {Kind} from 'korvane-client';

import {words} from '../../words/words';

export const t = words({
  en: {
    kinds: {bars: 'Bars', fabrics: 'Fabrics', bar_spacers: 'Bar spacers', mounting_parts: 'Mounting parts'} as Record<Kind, string>,
    kindsLabel: 'Kinds of lines', sheet: 'Sheet', revision: 'Revision', unnamed: '(no name)', sketch: 'sketch', mark: 'Mark',
    group: 'Group by', noGroup: 'Not grouped', columns: 'Columns', usual: 'The usual ones', done: 'Done',
    loading: (read: string, all: string) => `${read} of ${all} lines are here`, noRevision: 'There is no such revision in this project.',
    close: 'Close', shown: 'Shown', selected: 'Selected', all: 'All', values: 'Values', stored: 'Everything that is stored',
    turn: 'Turn in space', sketchOnly: 'Show the sketch', unknown: 'unknown', line: 'Line', correct: 'Correct',
    gone: 'The line is no longer there.', noSketch: 'There is no sketch of this line.',
    noWebgl: 'This browser cannot show bars in space (WebGL is missing). The sketch shows the bar instead.',
    space: (description: string) => `${description}. Arrow keys turn it, + and - bring it nearer.`,
    spaceHelp: 'Turn it with the mouse, a finger or the arrow keys; + and - bring it nearer and farther.', reset: 'From the front again',
    noSpace: 'The view in space could not be loaded.',
    damaged: (count: string, ids: string) =>
      `Lines that cannot be read, and are missing here: ${count} (rows ${ids}). “korvane check” says what is wrong with them.`,
  },
  de: {
    kinds: {bars: 'Stäbe', fabrics: 'Matten', bar_spacers: 'Abstandhalter', mounting_parts: 'Einbauteile'} as Record<Kind, string>,
    kindsLabel: 'Arten von Zeilen', sheet: 'Plan', revision: 'Index', unnamed: '(ohne Namen)', sketch: 'Skizze', mark: 'Position',
    group: 'Gruppieren nach', noGroup: 'Nicht gruppiert', columns: 'Spalten', usual: 'Die üblichen', done: 'Fertig',
    loading: (read: string, all: string) => `${read} von ${all} Zeilen sind da`, noRevision: 'Diesen Index gibt es in diesem Projekt nicht.',
    close: 'Schließen', shown: 'Gezeigt', selected: 'Ausgewählt', all: 'Alle', values: 'Werte', stored: 'Alles, was gespeichert ist',
    turn: 'Im Raum drehen', sketchOnly: 'Die Skizze zeigen', unknown: 'unbekannt', line: 'Zeile', correct: 'Berichtigen',
    gone: 'Die Zeile gibt es nicht mehr.', noSketch: 'Von dieser Zeile gibt es keine Skizze.',
    noWebgl: 'Dieser Browser kann Stäbe nicht im Raum zeigen (WebGL fehlt). Dafür zeigt die Skizze den Stab.',
    space: (description: string) => `${description}. Pfeiltasten drehen ihn, + und - holen ihn heran.`,
    spaceHelp: 'Mit der Maus, einem Finger oder den Pfeiltasten drehen; + und - holen heran und rücken weg.', reset: 'Wieder von vorn',
    noSpace: 'Die Ansicht im Raum konnte nicht geladen werden.',
    damaged: (count: string, ids: string) =>
      `Zeilen, die nicht lesbar sind und hier fehlen: ${count} (Nummern ${ids}). „korvane check“ sagt, was daran falsch ist.`,
  },
});
