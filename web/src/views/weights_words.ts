import {words} from '../words/words';

export const t = words({
  en: {
    title: 'Weights', bars: 'Bars', fabrics: 'Fabrics', barSpacers: 'Bar spacers', mountingParts: 'Mounting parts',
    diameter: 'Diameter', steel: 'Steel', type: 'Type', name: 'Name', marks: 'Marks', pieces: 'Pieces', length: 'Length',
    weight: 'Weight', without: 'Without weight', estimate: 'Estimate', unknown: 'unknown', none: '–',
    ofSteel: 'Steel', sum: 'Sum', sheet: 'Sheet', revision: 'Revision', revisions: 'By sheet and revision',
    allSheets: 'All sheets', allRevisions: 'All revisions', saveCsv: 'Save as CSV', fileWord: 'weights',
    allTogether: 'All together:', empty: 'There are no lines here, so nothing weighs anything.',
    markLacks: 'mark has no weight and is not among the kilograms.',
    marksLack: 'marks have no weight and are not among the kilograms.',
    estimated: 'As round bars of steel with 7850 kg/m³ they are estimated at {kg} kg, which is not added in.',
    several: 'Sheets with several revisions are among them, and all of their revisions count. Choose one revision to see it alone.',
    gone: 'The sheet or revision of this address is not in the project. All of them are shown.',
    noWeights: 'Mounting parts have no weight in a schedule.', chartTitle: '{what}: kilograms',
  },
  de: {
    title: 'Gewichte', bars: 'Stäbe', fabrics: 'Matten', barSpacers: 'Abstandhalter', mountingParts: 'Einbauteile',
    diameter: 'Durchmesser', steel: 'Stahlsorte', type: 'Typ', name: 'Name', marks: 'Positionen', pieces: 'Stück',
    length: 'Länge', weight: 'Gewicht', without: 'Ohne Gewicht', estimate: 'Schätzung',
    unknown: 'unbekannt', none: '–', ofSteel: 'Stahlsorte', sum: 'Summe', sheet: 'Plan', revision: 'Index',
    revisions: 'Nach Plan und Index', allSheets: 'Alle Pläne', allRevisions: 'Alle Indizes',
    saveCsv: 'Als CSV speichern', fileWord: 'gewichte', allTogether: 'Zusammen:',
    empty: 'Hier gibt es keine Positionen, also auch kein Gewicht.',
    markLacks: 'Position hat kein Gewicht und zählt bei den Kilogramm nicht mit.',
    marksLack: 'Positionen haben kein Gewicht und zählen bei den Kilogramm nicht mit.',
    estimated: 'Als Rundstäbe aus Stahl mit 7850 kg/m³ werden sie auf {kg} kg geschätzt; das ist nicht mitgezählt.',
    several: 'Darunter sind Pläne mit mehreren Indizes, und alle Indizes zählen. Wählen Sie einen Index, um ihn allein zu sehen.',
    gone: 'Den Plan oder Index dieser Adresse gibt es im Projekt nicht. Es werden alle gezeigt.',
    noWeights: 'Einbauteile haben in einer Liste kein Gewicht.', chartTitle: '{what}: Kilogramm',
  },
});
