import {useEffect, useState} from 'preact/hooks';
import type {Edited, Kind, Line} from 'korvane-client';

import {Failure, Notice, Waiting} from '../../parts/notices';
import {useLoaded} from '../../parts/loaded';
import {RecordView} from '../../parts/record';
import {project, readSketches} from '../../server/server';
import {may} from '../../server/session';
import {number} from '../../words/words';
import {titleOf} from './column_words';
import {Correct} from './correct';
import {begun, type Draft} from './draft';
import {kindColumns} from './kinds';
import {drawn} from './sketches';
import {Space} from './space';
import {t} from './words';

/** In millimetres, about as large as it is shown: its texts are of one size on any paper. */
const kLarge = {width: 100, height: 60};

export interface PanelProps {
  file: string;
  kind: Kind;
  id: number;
  /** Another number whenever the line may have another content. */
  round: number;
  steels: string[];
  draft: Draft | null;
  onDraft: (draft: Draft | null) => void;
  isStale: boolean;
  onClose: () => void;
  onStored: (edited: Edited) => void;
  onChanged: () => void;
}

/** All that is known of one line. */
export function Panel(props: PanelProps) {
  const {file, kind, id, draft} = props;
  const loaded = useLoaded((signal) => project(file).line({kind, id}, {signal}), [file, kind, id, props.round]);
  const line = loaded.value?.id === id ? loaded.value : null;
  const mark = line ? line.row[line.columns.findIndex((column) => column.name === 'label')] : null;
  return (
    <section class="panel" aria-label={`${t.line} ${mark ?? ''}`}>
      <header>
        <h2>{t.mark} <bdi>{mark ?? '…'}</bdi></h2>
        <button type="button" onClick={props.onClose}>{t.close}</button>
      </header>
      {loaded.failure !== null && <Failure failure={loaded.failure} onAgain={loaded.again} />}
      {loaded.failure === null && !line && <Waiting />}
      {line && (
        <>
          {kindColumns[kind].hasSketch && <Picture key={`${id} ${props.round}`} file={file} kind={kind} line={line} />}
          {kind === 'bars' && may('write') && (draft
            ? <Correct file={file} line={line} steels={props.steels} draft={draft} onDraft={props.onDraft} isStale={props.isStale}
              onCancel={() => props.onDraft(null)} onStored={props.onStored} onChanged={props.onChanged} />
            : <button type="button" class="no-print" onClick={() => props.onDraft(begun(line))}>{t.correct} …</button>)}
          <Values line={line} />
          <h3>{t.stored}</h3>
          <RecordView value={line.record} />
        </>
      )}
    </section>
  );
}

/** The sketch with all dimensions; a bar that is not flat can be turned. */
function Picture(props: {file: string; kind: Kind; line: Line}) {
  const {file, kind, line} = props;
  const [isTurning, setIsTurning] = useState(false);
  const sketch = useLoaded(async (signal) => {
    const [found] = await readSketches(file, kind, [line.id], kLarge, signal);
    return found ? drawn(found) : null;
  }, [file, kind, line.id, line.tag]);
  useEffect(() => setIsTurning(false), [line.id]);
  const isSpatial = (line.shape.kind === 'spatial' || line.shape.kind === 'helix') && line.shape.path.length > 1;
  return (
    <div class="picture">
      {isTurning && <Space line={line} />}
      {!isTurning && sketch.isLoading && <Waiting />}
      {sketch.failure !== null && <Failure failure={sketch.failure} onAgain={sketch.again} />}
      {!isTurning && !sketch.isLoading && sketch.failure === null && (sketch.value
        ? <img class="sketch large" src={sketch.value.source} alt={sketch.value.description} /> : <Notice>{t.noSketch}</Notice>)}
      <p class="quiet">{line.shape.description}</p>
      {isSpatial && (
        <button type="button" class="no-print" aria-pressed={isTurning} onClick={() => setIsTurning(!isTurning)}>
          {isTurning ? t.sketchOnly : t.turn}</button>
      )}
    </div>
  );
}

/** The columns that have a value, with those that the grid does not show. */
function Values(props: {line: Line}) {
  const {columns, row} = props.line;
  return (
    <>
      <h3>{t.values}</h3>
      <dl class="values">
        {columns.map((column, c) => {
          const value = row[c] ?? null;
          if (value === null || value === '') return null;
          return [
            <dt key={column.name}>{titleOf(column)}</dt>,
            <dd key={column.name + ' '} class={column.kind}>
              <bdi>{typeof value === 'number' ? number(value, Math.max(column.decimals, 3)) : value}</bdi>
              {typeof value === 'number' && column.unit && ` ${column.unit}`}
            </dd>,
          ];
        })}
      </dl>
    </>
  );
}
