// What the fields of records are called, where their name does not say it in the browser's language.

import {words} from '../words/words';

const both: {en: Record<string, string>; de: Record<string, string>} = {
  en: {
    id: 'number in the file', uid: 'unique name', rev_id: 'revision (number in the file)',
    sheet_id: 'sheet (number in the file)', material_id: 'steel (number in the file)', material: 'steel',
    parameters_exact: 'shape lengths, exact', parameters_rounded: 'shape lengths, rounded',
    objects: 'legs and arcs', list_fabric: 'bars of the fabric', diff_state: 'state of the comparison',
    catalog: 'catalogue', url: 'web address',
  },
  de: {
    id: 'Nummer in der Datei', uid: 'eindeutiger Name', rev_id: 'Index (Nummer in der Datei)',
    sheet_id: 'Plan (Nummer in der Datei)', material_id: 'Stahlsorte (Nummer in der Datei)', material: 'Stahlsorte',
    name: 'Name', comment: 'Bemerkung', description: 'Beschreibung', keyword: 'Stichwort', properties: 'Eigenschaften',
    identity: 'Bezeichnung', physical: 'Stoffwerte', density: 'Dichte', member: 'Bauteil', mark: 'Position',
    submark: 'Unterposition', mark_prefix: 'Vorsatz der Position', mark_suffix: 'Zusatz der Position',
    member_multiplier: 'Anzahl der Bauteile', bars_per_member: 'Stäbe je Bauteil', total_bars: 'Stäbe gesamt',
    total_length: 'Gesamtlänge', bar_diameter: 'Stabdurchmesser', shape_code: 'Formschlüssel',
    parameters_exact: 'Formmaße, genau', parameters_rounded: 'Formmaße, gerundet', geometry: 'Geometrie',
    objects: 'Schenkel und Bögen', polyline: 'Linienzug', labels: 'Beschriftungen', text: 'Text', length: 'Länge',
    angle: 'Winkel', radius: 'Radius', display_length: 'gezeigte Länge', type: 'Art', start_hook: 'Haken am Anfang',
    end_hook: 'Haken am Ende', direction: 'Richtung', standard_bend_diameter: 'Biegerollendurchmesser',
    hook_bend_diameter: 'Biegerollendurchmesser der Haken',
    out_of_plane_bend_diameter: 'Biegerollendurchmesser aus der Ebene', end_treatment_start: 'Endbehandlung am Anfang',
    end_treatment_end: 'Endbehandlung am Ende', bar_type_name: 'Stabart', bar_type_mass_per_length: 'Gewicht je Meter',
    textblock: 'Textblock', items: 'Einträge', rows: 'Zeilen', cells: 'Zellen', value: 'Wert',
    custom_text: 'freier Text', manufacturer: 'Hersteller', model: 'Modell', diameter: 'Durchmesser',
    draw_pointer: 'Zeiger zeichnen', type_description: 'Beschreibung der Art', fabrics_per_member: 'Matten je Bauteil',
    total_fabrics: 'Matten gesamt', type_name: 'Typ', width: 'Breite', fabric_weight: 'Gewicht der Matte',
    multiplier: 'Vielfaches', fabric_type: 'Mattentyp', sheet_mass: 'Gewicht je Matte',
    overall_length: 'Länge gesamt', overall_width: 'Breite gesamt', list_fabric: 'Stäbe der Listenmatte',
    along_distance: 'Abstand längs', along_inner_bar_diameter: 'Durchmesser innen längs',
    along_border_bar_diameter: 'Durchmesser am Rand längs', along_left_border_bar_number: 'Randstäbe links, längs',
    along_right_border_bar_number: 'Randstäbe rechts, längs', along_start_overhang: 'Überstand am Anfang, längs',
    along_end_overhang: 'Überstand am Ende, längs', across_distance: 'Abstand quer',
    across_inner_bar_diameter: 'Durchmesser innen quer', across_border_bar_diameter: 'Durchmesser am Rand quer',
    across_start_border_bar_number: 'Randstäbe am Anfang, quer', across_end_border_bar_number: 'Randstäbe am Ende, quer',
    across_left_overhang: 'Überstand links, quer', across_right_overhang: 'Überstand rechts, quer',
    quantity: 'Stück', weight_per_piece: 'Gewicht je Stück', family_name: 'Familie', keynote: 'Kennziffer',
    url: 'Webadresse', cost: 'Preis', order_number: 'Bestellnummer', catalog: 'Katalog',
    diff_state: 'Stand des Vergleichs', implicit_unit: 'Einheit',
  },
};

export const fieldWords = words(both);

const enumerators = words<Record<string, string>>({
  en: {
    kLine: 'line', kArc: 'arc', kKink: 'kink', kModified: 'changed', kRemoved: 'removed', kAdded: 'added',
    kLeft: 'left', kRight: 'right',
  },
  de: {
    kLine: 'Gerade', kArc: 'Bogen', kKink: 'Knick', kModified: 'geändert', kRemoved: 'entfallen', kAdded: 'neu',
    kLeft: 'links', kRight: 'rechts',
  },
});

/** The word for an enumerator; a text that is none stays as it is. */
export function enumeratorWord(text: string): string {
  return Object.hasOwn(enumerators, text) ? enumerators[text] ?? text : text;
}
