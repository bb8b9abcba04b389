// Sheets with their revisions: what each has, and the ways to its views.

import {useMemo, useState} from 'preact/hooks';
import {kinds, type RevisionSummary, type SheetSummary} from 'korvane-client';

import {address, ofFile, setParams} from '../../address';
import {keyOf} from '../../parts/choice';
import {Dialog} from '../../parts/dialog';
import {Notice} from '../../parts/notices';
import {RecordView} from '../../parts/record';
import {may} from '../../server/session';
import {fixed, number} from '../../words/words';
import {t} from './project_words';

/** Sheets on a page. */
const kPage = 30;

interface Shown {
  title: string;
  record: Record<string, unknown>;
}

function matches(sheet: SheetSummary, wanted: string): boolean {
  const comment = sheet.record['comment'];
  const texts = [sheet.name, typeof comment === 'string' ? comment : '', ...sheet.revisions.map((one) => one.name)];
  return texts.some((text) => text.toLocaleLowerCase().includes(wanted));
}

function RevisionRow(props: {
  file: string; sheet: SheetSummary; sheetKey: string; revision: RevisionSummary; before: RevisionSummary | undefined;
  onShow: (shown: Shown) => void;
}) {
  const {file, sheet, sheetKey, revision, before} = props;
  const name = revision.name || t.unnamed;
  const key = (one: RevisionSummary) => keyOf(one, sheet.revisions);
  const chosen = {sheet: sheetKey, revision: key(revision)};
  const kind = kinds.find((one) => revision[one] > 0) ?? 'bars';
  return (
    <tr>
      <th scope="row">
        <div class="revision-head">
          <a class="revision-name" href={ofFile(file, ['schedule', revision.id, kind])}>
            <span class="sr-only">{t.revision} </span><bdi>{name}</bdi>
          </a>
          <span class="revision-views">
            <a href={ofFile(file, ['weights'], chosen)}>{t.weights}</a>
            {before && (
              <a class="one-line"
                href={ofFile(file, ['compare'], {sheet: sheetKey, before: key(before), after: key(revision)})}>
                {t.compare} <bdi>{before.name || t.unnamed}</bdi>
              </a>
            )}
            <a href={ofFile(file, ['paper'], chosen)}>{t.list}</a>
            <button type="button" class="as-link"
              onClick={() => props.onShow({title: `${t.revision} ${name}`, record: revision.record})}>{t.fields}</button>
          </span>
        </div>
      </th>
      {[...kinds, 'marks' as const, 'pieces' as const].map((field) => (
        <td key={field} class={revision[field] === 0 ? 'number quiet' : 'number'}>{number(revision[field])}</td>
      ))}
      <td class="number">
        {fixed(revision.kilograms, 1)}
        {revision.without_weight > 0 && <span class="lacking">{t.lacking(revision.without_weight)}</span>}
      </td>
    </tr>
  );
}

function SheetRows(props: {
  file: string; sheet: SheetSummary; sheetKey: string; isFolded: boolean; onFold: () => void; onShow: (shown: Shown) => void;
}) {
  const {sheet, isFolded} = props;
  const name = sheet.name || t.unnamed;
  const comment = sheet.record['comment'];
  const id = `sheet-${sheet.id}`;
  return (
    <tbody id={id}>
      <tr class="sheet-row">
        <th scope="rowgroup" colSpan={8}>
          <div class="sheet-head">
            <button type="button" class="sheet-name" aria-expanded={!isFolded} aria-controls={id} onClick={props.onFold}>
              <span aria-hidden="true">{isFolded ? '▸' : '▾'}</span> {t.sheet} <bdi class="two-lines">{name}</bdi>
            </button>
            <span class="quiet sheet-count">{t.count.revisions(sheet.revisions.length)}</span>
            {typeof comment === 'string' && comment !== '' && <bdi class="quiet two-lines sheet-comment">{comment}</bdi>}
            <button type="button" class="as-link"
              onClick={() => props.onShow({title: `${t.sheet} ${name}`, record: sheet.record})}>{t.fields}</button>
          </div>
        </th>
      </tr>
      {!isFolded && sheet.revisions.map((revision, index) => (
        <RevisionRow key={revision.id} file={props.file} sheet={sheet} sheetKey={props.sheetKey} revision={revision}
          before={sheet.revisions[index - 1]} onShow={props.onShow} />
      ))}
      {!isFolded && sheet.revisions.length === 0 && <tr><td colSpan={8} class="quiet">{t.noRevision}</td></tr>}
    </tbody>
  );
}

function Pages(props: {page: number; count: number}) {
  const {page, count} = props;
  const turn = (to: number) => {
    setParams({page: to > 0 ? to + 1 : undefined}, true);
    document.getElementById('content')?.scrollTo(0, 0);
  };
  if (count <= kPage) return null;
  const last = Math.min(count, (page + 1) * kPage);
  return (
    <nav class="row" aria-label={t.pages}>
      <button type="button" disabled={page === 0} onClick={() => turn(page - 1)}>{t.before}</button>
      <span role="status">{t.range(number(page * kPage + 1), number(last), number(count))}</span>
      <button type="button" disabled={last === count} onClick={() => turn(page + 1)}>{t.next}</button>
    </nav>
  );
}

function Heading() {
  const counts = [t.bars, t.fabrics, t.spacers, t.mounting, t.marks, t.pieces, t.weight];
  return (
    <thead>
      <tr>
        <th scope="col">{t.name}</th>
        {counts.map((title) => <th key={title} scope="col" class="number">{title}</th>)}
      </tr>
    </thead>
  );
}

export function Sheets(props: {file: string; sheets: SheetSummary[]}) {
  const {file, sheets} = props;
  const {find = '', page: asked = '1'} = address.value.params;
  const [folded, setFolded] = useState<ReadonlySet<number>>(new Set());
  const [shown, setShown] = useState<Shown | null>(null);
  const found = useMemo(() => {
    const wanted = find.toLocaleLowerCase();
    return wanted === '' ? sheets : sheets.filter((sheet) => matches(sheet, wanted));
  }, [sheets, find]);
  if (sheets.length === 0) {
    return <Notice><p><strong>{t.noSheet}</strong></p>{may('write') && <p>{t.noSheetMay}</p>}</Notice>;
  }
  const page = Math.max(0, Math.min((Number(asked) || 1) - 1, Math.ceil(found.length / kPage) - 1));
  const turn = (id: number) => {
    const changed = new Set(folded);
    if (!changed.delete(id)) changed.add(id);
    setFolded(changed);
  };
  return (
    <>
      <div class="row">
        <label>{t.find}
          <input type="search" value={find}
            onInput={(event) => setParams({find: event.currentTarget.value, page: undefined})} />
        </label>
        <button type="button" onClick={() => setFolded(new Set(folded.size > 0 ? [] : sheets.map((sheet) => sheet.id)))}>
          {folded.size > 0 ? t.unfold : t.fold}
        </button>
        <span class="quiet" role="status">{find !== '' && t.count.sheets(found.length)}</span>
      </div>
      {found.length === 0 ? (
        <Notice>{t.unmatched} <button type="button" onClick={() => setParams({find: undefined})}>{t.all}</button></Notice>
      ) : (
        <>
          <table class="sheets-table">
            <Heading />
            {found.slice(page * kPage, (page + 1) * kPage).map((sheet) => (
              <SheetRows key={sheet.id} file={file} sheet={sheet} sheetKey={keyOf(sheet, sheets)} isFolded={folded.has(sheet.id)}
                onFold={() => turn(sheet.id)} onShow={setShown} />
            ))}
          </table>
          <Pages page={page} count={found.length} />
        </>
      )}
      {shown && (
        <Dialog title={shown.title.slice(0, 120)} onClose={() => setShown(null)}>
          <div class="record-dialog"><RecordView value={shown.record} /></div>
          <div class="row"><button type="button" onClick={() => setShown(null)}>{t.close}</button></div>
        </Dialog>
      )}
    </>
  );
}
