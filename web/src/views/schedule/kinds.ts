// What the four kinds of lines have in common, and what not.

import type {Kind} from 'korvane-client';

interface KindColumns {
  /** Shown unless one chooses others. */
  shown: string[];
  /** How many pieces a line is. */
  pieces: string;
  /** The length of all pieces of a line in millimetres, or of one. */
  lengths?: {name: string; isOfOne: boolean};
  mass?: string;
  groups: string[];
  hasSketch: boolean;
}

export const kindColumns: Record<Kind, KindColumns> = {
  bars: {
    shown: ['label', 'total_bars', 'bar_diameter', 'length', 'steel', 'mass', 'shape_code', 'legs', 'start_hook', 'end_hook',
      'start_treatment', 'end_treatment', 'member', 'comment'],
    pieces: 'total_bars', lengths: {name: 'total_length', isOfOne: false}, mass: 'mass',
    groups: ['bar_diameter', 'steel', 'member', 'shape_code', 'legs'], hasSketch: true,
  },
  fabrics: {
    shown: ['label', 'total_fabrics', 'type_name', 'length', 'width', 'steel', 'mass', 'shape_code', 'legs', 'member', 'comment'],
    pieces: 'total_fabrics', mass: 'mass', groups: ['type_name', 'steel', 'member', 'shape_code'], hasSketch: true,
  },
  bar_spacers: {
    shown: ['label', 'quantity', 'name', 'length', 'mass', 'weight_per_piece', 'description'],
    pieces: 'quantity', lengths: {name: 'length', isOfOne: true}, mass: 'mass', groups: ['name', 'length'], hasSketch: false,
  },
  mounting_parts: {
    shown: ['label', 'quantity', 'family_name', 'type_name', 'manufacturer', 'model', 'order_number', 'material', 'member',
      'comment'],
    pieces: 'quantity', groups: ['family_name', 'type_name', 'manufacturer', 'member'], hasSketch: false,
  },
};

/** What is loaded in any case: what is shown and what totals are made of. */
export function neededColumns(kind: Kind, shown: readonly string[]): string[] {
  const {pieces, lengths, mass} = kindColumns[kind];
  const needed = [...shown, pieces, lengths?.name, mass].filter((name): name is string => name !== undefined && name !== '');
  return [...new Set(needed)];
}
