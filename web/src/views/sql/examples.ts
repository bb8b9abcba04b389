import type {Schema} from './schema';
import {words} from '../../words/words';

interface Example {
  title: string;
  /** The tables and views that it reads. */
  reads: string[];
  query: string;
}

const t = words({
  en: {
    weights: 'Kilograms by steel and diameter', long: 'Bars longer than 6 m', without: 'Marks without a weight',
    couplers: 'Couplers and other end treatments by type', fabrics: 'Fabrics by type, with their kilograms',
    twice: 'Marks that stand more than once in a revision', revisions: 'Sheets and revisions with their marks',
  },
  de: {
    weights: 'Kilogramm nach Stahlsorte und Durchmesser', long: 'Stäbe über 6 m Länge', without: 'Positionen ohne Gewicht',
    couplers: 'Muffen und andere Endbehandlungen nach Typ', fabrics: 'Matten nach Typ mit Gewicht',
    twice: 'Positionen, die in einem Index mehrmals stehen', revisions: 'Pläne und Indizes mit ihren Positionen',
  },
});

const kExamples: Example[] = [
  {
    title: t.weights,
    reads: ['bars'],
    query: `select steel, bar_diameter, sum(total_bars) as pieces,
       round(sum(total_length) / 1000, 2) as metres,
       round(sum(total_length * bartype_mass_per_length) / 1000, 1) as kilograms
from bars
group by steel, bar_diameter
order by steel, bar_diameter`,
  },
  {
    title: t.long,
    reads: ['bars'],
    query: `select sheet, revision, label, total_bars as pieces, bar_diameter,
       round(total_length / total_bars) as length
from bars
where total_bars > 0 and total_length / total_bars > 6000
order by length desc`,
  },
  {
    title: t.without,
    reads: ['bars'],
    query: `select sheet, revision, label, total_bars as pieces, bar_diameter, steel
from bars
where bartype_mass_per_length = 0 or total_length = 0
order by sheet, revision, label`,
  },
  {
    title: t.couplers,
    reads: ['bars'],
    query: `with ends as (
  select start_treatment_type as type, start_treatment_diameter as diameter, total_bars from bars
  union all
  select end_treatment_type, end_treatment_diameter, total_bars from bars
)
select type, diameter, sum(total_bars) as pieces
from ends
where type is not null
group by type, diameter`,
  },
  {
    title: t.fabrics,
    reads: ['fabrics'],
    query: `select fabric_type, steel, sum(total_fabrics) as pieces,
       round(sum(total_fabrics * fabric_weight), 1) as kilograms
from fabrics
group by fabric_type, steel`,
  },
  {
    title: t.revisions,
    reads: ['revisions', 'bars'],
    query: `select sheet, name as revision,
       (select count(*) from bars where bars.rev_id = revisions.id) as bar_marks
from revisions
order by sheet, name`,
  },
  {
    title: t.twice,
    reads: ['rebar'],
    query: `select rev_id, mark, submark, count(*) as lines, sum(total_bars) as pieces
from rebar
group by rev_id, mark, submark
having count(*) > 1
order by lines desc`,
  },
];

/** Those that the project has all tables and views for. */
export function examplesFor(schema: Schema): Example[] {
  const names = new Set(schema.relations.map((relation) => relation.name));
  return kExamples.filter((example) => example.reads.every((one) => names.has(one)));
}
