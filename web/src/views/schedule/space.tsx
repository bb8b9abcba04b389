import {useEffect, useRef, useState} from 'preact/hooks';
import type {Line} from 'korvane-client';

import {Notice, Waiting} from '../../parts/notices';
import type {SpaceView} from './space_scene';
import {t} from './words';

const kStep = Math.PI / 24;

/** The bar as it is in space, to be turned. */
export function Space(props: {line: Line}) {
  const {shape, record} = props.line;
  const place = useRef<HTMLDivElement>(null);
  const view = useRef<SpaceView | null>(null);
  const [state, setState] = useState<'loading' | 'there' | 'noWebgl' | 'failed'>('loading');
  useEffect(() => {
    let isGone = false;
    import('./space_scene').then(({showInSpace}) => {
      if (isGone || !place.current) return;
      const bend = record['standard_bend_diameter'];
      try {
        view.current = showInSpace(place.current,
          {path: shape.path, diameter: shape.diameter, bendDiameter: typeof bend === 'number' ? bend : 0},
          getComputedStyle(place.current).getPropertyValue('--steel').trim());
        setState('there');
      } catch {
        setState('noWebgl');
      }
    }, () => setState('failed'));
    return () => {
      isGone = true;
      view.current?.dispose();
      view.current = null;
    };
  }, [shape]);
  const keys: Record<string, () => void> = {
    ArrowLeft: () => view.current?.turn(-kStep, 0), ArrowRight: () => view.current?.turn(kStep, 0),
    ArrowUp: () => view.current?.turn(0, kStep), ArrowDown: () => view.current?.turn(0, -kStep),
    '+': () => view.current?.zoom(0.85), '-': () => view.current?.zoom(1 / 0.85), Home: () => view.current?.reset(),
  };
  const isMissing = state === 'noWebgl' || state === 'failed';
  return (
    <div class="space">
      {state === 'loading' && <Waiting />}
      {isMissing && <Notice>{state === 'noWebgl' ? t.noWebgl : t.noSpace}</Notice>}
      <div class="space-place" ref={place} role="img" aria-label={t.space(shape.description)} tabIndex={0} hidden={isMissing}
        onKeyDown={(event) => {
          const act = keys[event.key];
          if (!act) return;
          event.preventDefault();
          act();
        }} />
      {state === 'there' && (
        <div class="row">
          <button type="button" onClick={() => view.current?.reset()}>{t.reset}</button>
          <span class="quiet">{t.spaceHelp}</span>
        </div>
      )}
    </div>
  );
}
