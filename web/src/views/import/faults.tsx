import {useState} from 'preact/hooks';
import type {Fault} from 'korvane-client';

import {save} from '../../parts/save';
import {number} from '../../words/words';
import {t} from './import_words';

const kShown = 500;

function textOf(faults: Fault[]): string {
  return faults.map((fault) => `${fault.line}\t${fault.reason}`).join('\n') + '\n';
}

/** The faulty records of a file by line and reason. All of them can be copied and saved. */
export function Faults(props: {name: string; faults: Fault[]}) {
  const {name, faults} = props;
  const [isCopied, setCopied] = useState(false);
  const copy = () => {
    navigator.clipboard.writeText(textOf(faults)).then(() => setCopied(true), () => setCopied(false));
  };
  return (
    <div class="faults">
      <div class="faults-list" role="region" aria-label={`${t.count.fault(faults.length)}: ${name}`} tabIndex={0}>
        <table>
          <thead><tr><th scope="col" class="number">{t.line}</th><th scope="col">{t.reason}</th></tr></thead>
          <tbody>
            {faults.slice(0, kShown).map((fault, index) => (
              <tr key={index}>
                <td class="number">{fault.line}</td>
                <td><bdi class="server-text">{fault.reason}</bdi></td>
              </tr>
            ))}
          </tbody>
        </table>
        {faults.length > kShown && <p class="quiet">{t.shown(number(kShown))}</p>}
      </div>
      <div class="row">
        {/* Pages that are not served over TLS have no clipboard, except on one's own machine. */}
        {'clipboard' in navigator && <button type="button" onClick={copy}>{t.copy}</button>}
        <button type="button" onClick={() => save(new Blob([textOf(faults)], {type: 'text/plain'}), `${name}.txt`)}>
          {t.save}
        </button>
        <span role="status">{isCopied && t.copied}</span>
      </div>
    </div>
  );
}
