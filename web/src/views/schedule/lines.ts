// The lines of one kind of a revision, as they come.

import {useCallback, useEffect, useState} from 'preact/hooks';
import type {Cell, Column, Kind, Lines} from 'korvane-client';

import {project} from '../../server/server';

/** The first page is small, so that there is something to see at once. */
const kFirstPage = 500;
const kPage = 10_000;

export interface LinesState {
  columns: Column[];
  ids: number[];
  rows: Cell[][];
  /** Of all lines, known with the first page. */
  count: number;
  /** Of the lines that cannot be read, the ids of their rows: they are among the count only. */
  damaged: number[];
  isLoading: boolean;
  failure: unknown;
}

const kNothing: LinesState = {columns: [], ids: [], rows: [], count: 0, damaged: [], isLoading: true, failure: null};

interface Asked {
  file: string;
  revisionId: number;
  kind: Kind;
}

/** After what has come is seen: the next page does not keep it waiting. A page that nobody looks at draws nothing. */
function drawn(): Promise<void> {
  return new Promise((done) => {
    requestAnimationFrame(() => setTimeout(done));
    setTimeout(done, 250);
  });
}

/** Calls `take` for each page of these columns. */
async function readPages(
  {file, revisionId, kind}: Asked, names: readonly string[], signal: AbortSignal,
  take: (page: Lines) => void): Promise<void> {
  const asked = {revision_id: revisionId, kind, fields: names.join()};
  let page = await project(file).linesPage({...asked, limit: kFirstPage}, {signal});
  while (true) {
    signal.throwIfAborted();
    take(page);
    if (page.next === null) return;
    await drawn();
    page = await project(file).linesPage({...asked, limit: kPage, after: page.next}, {signal});
  }
}

/** Loads columns of these names, and later those that names are added for. `names` null waits.
 * `again` loads all anew, and shows it when it is whole: where one has scrolled to stays. */
export function useLines(asked: Asked, names: readonly string[] | null): LinesState & {again: () => void} {
  const {file, revisionId, kind} = asked;
  const [state, setState] = useState(kNothing);
  const [round, setRound] = useState(0);
  const [source, setSource] = useState('');
  const place = JSON.stringify([file, revisionId, kind]);
  const isReady = names !== null;

  useEffect(() => {
    if (!names) return;
    const controller = new AbortController();
    const isQuiet = source === place;
    let found: LinesState = kNothing;
    setState((before) => (isQuiet ? {...before, isLoading: true, failure: null} : kNothing));
    readPages(asked, names, controller.signal, (page) => {
      found = {
        ...found, columns: page.columns, ids: found.ids.concat(page.ids), rows: found.rows.concat(page.rows), count: page.count,
        damaged: found.damaged.concat(page.damaged.map((line) => line.id)),
      };
      if (!isQuiet) setState(found);
    }).then(() => {
      setSource(place);
      setState({...found, isLoading: false});
    }, (failure: unknown) => {
      if (!controller.signal.aborted) setState((before) => ({...before, isLoading: false, failure}));
    });
    return () => controller.abort();
  }, [place, isReady, round]);

  const missing = state.isLoading || state.failure !== null || !names || state.columns.length === 0
    ? [] : names.filter((name) => !state.columns.some((column) => column.name === name));
  useEffect(() => {
    if (missing.length === 0) return;
    const controller = new AbortController();
    let columns: Column[] = [];
    const ids: number[] = [];
    const cells: Cell[][] = [];
    readPages(asked, missing, controller.signal, (page) => {
      columns = page.columns;
      for (const id of page.ids) ids.push(id);
      for (const row of page.rows) cells.push(row);
    }).then(() => {
      // Somebody has changed the revision between then and now.
      if (ids.length !== state.ids.length || ids.some((id, i) => id !== state.ids[i])) return setRound((n) => n + 1);
      setState((before) => ({
        ...before, columns: [...before.columns, ...columns], rows: before.rows.map((row, i) => row.concat(cells[i]!)),
      }));
    }, (failure: unknown) => {
      if (!controller.signal.aborted) setState((before) => ({...before, failure}));
    });
    return () => controller.abort();
  }, [missing.join(), place, round]);

  return {...state, again: useCallback(() => setRound((n) => n + 1), [])};
}
