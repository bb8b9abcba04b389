import {words} from '../words/words';

export const t = words({
  en: {
    title: 'Compare', before: 'Before', after: 'After', swap: 'Swap', print: 'Print', saveCsv: 'Save as CSV',
    oneRevision: 'This sheet has one revision. There is nothing to compare it with.',
    noRevision: 'This sheet has no revisions.', noSheet: 'The project has no sheets.',
    gone: 'A sheet or revision of this address is not in the project.',
    added: 'added', removed: 'removed', changed: 'changed', same: 'Nothing differs: both revisions have the same lines with the same values.',
    sameRevision: 'This is one revision on both sides.', lines: 'Lines', weights: 'Weights',
    filter: 'Find mark, field or value', noneLeft: 'No line is left by the filter.',
    mark: 'Mark', change: 'Change', field: 'Field', shape: 'Shape', line: 'Line', kind: 'Kind',
    bars: 'Bars', fabrics: 'Fabrics', bar_spacers: 'Bar spacers', mounting_parts: 'Mounting parts',
    diameter: 'Diameter', steel: 'Steel', type: 'Type', name: 'Name', pieces: 'Pieces', weight: 'Weight', difference: 'Difference',
    unknown: 'unknown', none: '–', noValue: 'no value', noText: 'empty', inAll: 'Difference in all:', sum: 'Sum', revisionWord: 'Revision',
    noWeightChange: 'Pieces and weights are the same.',
    notKnown: 'group has no known weight on one side and is not among it.', notKnownMany: 'groups have no known weight on one side and are not among it.',
    shown: '{shown} of {all} lines are shown.', more: 'Show more', fileWord: 'compare', loading: 'Sketches are loading …',
  },
  de: {
    title: 'Vergleich', before: 'Vorher', after: 'Nachher', swap: 'Tauschen', print: 'Drucken', saveCsv: 'Als CSV speichern',
    oneRevision: 'Dieser Plan hat einen einzigen Index. Es gibt nichts, womit er zu vergleichen wäre.',
    noRevision: 'Dieser Plan hat keinen Index.', noSheet: 'Das Projekt hat keine Pläne.',
    gone: 'Einen Plan oder Index dieser Adresse gibt es im Projekt nicht.',
    added: 'hinzugekommen', removed: 'entfallen', changed: 'geändert',
    same: 'Kein Unterschied: Beide Indizes haben dieselben Positionen mit denselben Werten.',
    sameRevision: 'Auf beiden Seiten steht derselbe Index.', lines: 'Positionen', weights: 'Gewichte',
    filter: 'Position, Feld oder Wert suchen', noneLeft: 'Der Filter lässt keine Position übrig.',
    mark: 'Position', change: 'Änderung', field: 'Feld', shape: 'Form', line: 'Position', kind: 'Art',
    bars: 'Stäbe', fabrics: 'Matten', bar_spacers: 'Abstandhalter', mounting_parts: 'Einbauteile',
    diameter: 'Durchmesser', steel: 'Stahlsorte', type: 'Typ', name: 'Name', pieces: 'Stück', weight: 'Gewicht', difference: 'Differenz',
    unknown: 'unbekannt', none: '–', noValue: 'kein Wert', noText: 'leer', inAll: 'Differenz insgesamt:', sum: 'Summe', revisionWord: 'Index',
    noWeightChange: 'Stückzahlen und Gewichte sind gleich.',
    notKnown: 'Gruppe hat auf einer Seite kein bekanntes Gewicht und zählt dabei nicht mit.',
    notKnownMany: 'Gruppen haben auf einer Seite kein bekanntes Gewicht und zählen dabei nicht mit.',
    shown: '{shown} von {all} Positionen werden gezeigt.', more: 'Mehr zeigen', fileWord: 'vergleich', loading: 'Skizzen werden geladen …',
  },
});

/** Fields of lines as people know them. Others are shown by their names. */
export const fieldWords: Record<string, string> = words<Record<string, string>>({
  en: {
    mark: 'Mark', submark: 'Submark', mark_prefix: 'Prefix of the mark', mark_suffix: 'Suffix of the mark',
    member: 'Member', member_multiplier: 'Members', bars_per_member: 'Bars in each member', total_bars: 'Bars in all',
    fabrics_per_member: 'Fabrics in each member', total_fabrics: 'Fabrics in all', quantity: 'Pieces', comment: 'Comment',
    custom_text: 'Text', total_length: 'Length of all bars [mm]', bar_diameter: 'Diameter [mm]', length: 'Length [mm]',
    width: 'Width [mm]', standard_bend_diameter: 'Mandrel [mm]', hook_bend_diameter: 'Mandrel of hooks [mm]',
    shape_code: 'Shape code', bar_type_mass_per_length: 'Mass per length [kg/m]', fabric_weight: 'Weight of one [kg]',
    weight_per_piece: 'Weight of one [kg]', 'material.identity.name': 'Steel', description: 'Description',
    type_name: 'Type', name: 'Name', family_name: 'Family', manufacturer: 'Manufacturer', diff_state: 'State of change',
  },
  de: {
    mark: 'Position', submark: 'Unterposition', mark_prefix: 'Vorsatz der Position', mark_suffix: 'Zusatz der Position',
    member: 'Bauteil', member_multiplier: 'Bauteile', bars_per_member: 'Stück je Bauteil', total_bars: 'Stück insgesamt',
    fabrics_per_member: 'Matten je Bauteil', total_fabrics: 'Matten insgesamt', quantity: 'Stück', comment: 'Bemerkung',
    custom_text: 'Text', total_length: 'Länge aller Stäbe [mm]', bar_diameter: 'Durchmesser [mm]', length: 'Länge [mm]',
    width: 'Breite [mm]', standard_bend_diameter: 'Biegerolle [mm]', hook_bend_diameter: 'Biegerolle der Haken [mm]',
    shape_code: 'Biegeform', bar_type_mass_per_length: 'Masse je Länge [kg/m]', fabric_weight: 'Gewicht je Stück [kg]',
    weight_per_piece: 'Gewicht je Stück [kg]', 'material.identity.name': 'Stahlsorte', description: 'Beschreibung',
    type_name: 'Typ', name: 'Name', family_name: 'Familie', manufacturer: 'Hersteller', diff_state: 'Änderungsstand',
  },
});
