import {useState} from 'preact/hooks';

import {words} from '../words/words';
import './long_text.css';

const t = words({
  en: {more: 'all of it', less: 'less'},
  de: {more: 'alles', less: 'weniger'},
});

const kMostLetters = 240;

/** A text of a file, however long: its beginning, and all of it on demand. */
export function LongText(props: {text: string}) {
  const [isWhole, setWhole] = useState(false);
  if (props.text.length <= kMostLetters) return <bdi class="long-text">{props.text}</bdi>;
  return (
    <>
      <bdi class="long-text">{isWhole ? props.text : props.text.slice(0, kMostLetters) + '…'}</bdi>{' '}
      <button type="button" class="of-text" aria-expanded={isWhole} onClick={() => setWhole(!isWhole)}>
        {isWhole ? t.less : t.more}
      </button>
    </>
  );
}
