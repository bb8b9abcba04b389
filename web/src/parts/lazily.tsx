import {signal} from '@preact/signals';
import type {ComponentType} from 'preact';

import {words} from '../words/words';
import {Notice, Waiting} from './notices';

const t = words({
  en: {failed: 'This part of the page could not be loaded.', again: 'Try again'},
  de: {failed: 'Dieser Teil der Seite konnte nicht geladen werden.', again: 'Noch einmal'},
});

/** A component whose code comes when it is first shown. */
export function lazily<Props extends object>(load: () => Promise<ComponentType<Props>>): ComponentType<Props> {
  const loaded = signal<ComponentType<Props> | null>(null);
  const hasFailed = signal(false);
  let isAsked = false;
  return function Lazily(props: Props) {
    const Loaded = loaded.value;
    if (Loaded) return <Loaded {...props} />;
    if (hasFailed.value) {
      // Browsers keep a failed import for as long as the page lives; and after an update the server
      // may have the part under another name.
      return (
        <Notice kind="error">
          <span>{t.failed}</span> <button type="button" onClick={() => location.reload()}>{t.again}</button>
        </Notice>
      );
    }
    if (!isAsked) {
      isAsked = true;
      load().then((component) => {
        loaded.value = component;
      }, () => {
        hasFailed.value = true;
      });
    }
    return <Waiting />;
  };
}
