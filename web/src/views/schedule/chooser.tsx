import type {Column} from 'korvane-client';

import {Dialog} from '../../parts/dialog';
import {Waiting} from '../../parts/notices';
import {titleOf} from './column_words';
import {t} from './words';

/** Which columns are shown, of all that there are. */
export function Chooser(props: {
  all: readonly Column[] | null; shown: readonly string[]; usual: readonly string[];
  onShown: (names: string[]) => void; onClose: () => void;
}) {
  const {all, shown} = props;
  const toggle = (name: string) =>
    props.onShown(shown.includes(name) ? shown.filter((one) => one !== name) : [...shown, name]);
  return (
    <Dialog title={t.columns} onClose={props.onClose}>
      {all === null ? <Waiting /> : (
        <ul class="chooser">
          {all.map((column) => (
            <li key={column.name}>
              <label>
                <input type="checkbox" checked={shown.includes(column.name)} disabled={shown.length === 1 && shown.includes(column.name)}
                  onChange={() => toggle(column.name)} />
                <span>{titleOf(column)}{column.unit && <span class="quiet"> {column.unit}</span>}</span>
              </label>
            </li>
          ))}
        </ul>
      )}
      <div class="row">
        <button type="button" onClick={() => props.onShown([...props.usual])}>{t.usual}</button>
        <button type="button" class="main" onClick={props.onClose}>{t.done}</button>
      </div>
    </Dialog>
  );
}
