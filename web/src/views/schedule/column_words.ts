// What people call the columns of lines. The server's titles are English; German is here, by name.

import type {Column} from 'korvane-client';

import {fieldWords} from '../../parts/field_words';
import {language} from '../../words/words';

const german: Record<string, string> = {
  sheet: 'Plan', revision: 'Index', label: 'Position', total_bars: 'Stück', bar_diameter: 'Durchmesser', length: 'Länge',
  shape_code: 'Form', legs: 'Schenkel', steel: 'Stahlsorte', mass: 'Gewicht', start_hook: 'Haken am Anfang',
  end_hook: 'Haken am Ende', start_treatment: 'Anfang', end_treatment: 'Ende', estimated_mass: 'Gewicht, geschätzt',
  member: 'Bauteil', members: 'Bauteile', bar_type_name: 'Stabart', standard_bend_diameter: 'Biegerolle',
  hook_bend_diameter: 'Biegerolle der Haken', out_of_plane_bend_diameter: 'Biegerolle aus der Ebene', comment: 'Bemerkung',
  custom_text: 'freier Text', diff_state: 'Stand', textblock: 'Textblock', leg_labels: 'Beschriftungen',
  properties: 'Eigenschaften', bvbs: 'BVBS-Satz', mark_prefix: 'Vorsatz der Position', mark: 'Position allein',
  mark_suffix: 'Zusatz der Position', submark: 'Unterposition', member_multiplier: 'Anzahl der Bauteile',
  bars_per_member: 'Stäbe je Bauteil', total_length: 'Gesamtlänge', bar_type_mass_per_length: 'Gewicht je Meter',
  vertices: 'Eckpunkte', total_fabrics: 'Stück', type_name: 'Typ', width: 'Breite', fabric_weight: 'Gewicht einer Matte',
  list_fabric: 'Listenmatte', fabric_type_description: 'Beschreibung des Typs', fabrics_per_member: 'Matten je Bauteil',
  multiplier: 'Vielfaches', fabric_type: 'Typ im Katalog', fabric_type_overall_length: 'Länge des Typs',
  fabric_type_overall_width: 'Breite des Typs', fabric_type_sheet_mass: 'Gewicht des Typs', quantity: 'Stück', name: 'Name',
  weight_per_piece: 'Gewicht je Stück', description: 'Beschreibung', family_name: 'Familie', manufacturer: 'Hersteller',
  model: 'Modell', order_number: 'Bestellnummer', material: 'Werkstoff', cost: 'Preis', catalog: 'Katalog',
  keynote: 'Kennziffer', url: 'Webadresse',
};

/** Fields of a record that is part of the line: "start_hook_length". */
const parts: Record<string, string> = {
  start_hook: 'Haken am Anfang', end_hook: 'Haken am Ende', start_treatment: 'Behandlung am Anfang',
  end_treatment: 'Behandlung am Ende', list_fabric: 'Listenmatte',
};

export function titleOf(column: Pick<Column, 'name' | 'title'>): string {
  if (language !== 'de') return column.title;
  const letter = /^([a-fr])(_rounded)?$/.exec(column.name);
  if (letter) return letter[1]!.toUpperCase() + (letter[2] ? ' gerundet' : '');
  if (Object.hasOwn(german, column.name)) return german[column.name]!;
  const part = Object.keys(parts).find((name) => column.name.startsWith(name + '_'));
  const field = part === undefined ? '' : column.name.slice(part.length + 1);
  return part !== undefined && Object.hasOwn(fieldWords, field) ? `${parts[part]}, ${fieldWords[field]}` : column.title;
}
