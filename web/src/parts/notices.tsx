import type {ComponentChildren} from 'preact';
import {NoAnswer, ServerError} from 'korvane-client';

import {words} from '../words/words';

const t = words({
  en: {waiting: 'Loading …', lost: 'The server does not answer.', again: 'Try again'},
  de: {waiting: 'Wird geladen …', lost: 'Der Server antwortet nicht.', again: 'Noch einmal'},
});

export function Waiting(props: {text?: string}) {
  return <p class="waiting" role="status">{props.text ?? t.waiting}</p>;
}

/** Something to know: "error" is read out at once. */
export function Notice(props: {kind?: 'error' | 'info' | 'done'; children: ComponentChildren}) {
  const kind = props.kind ?? 'info';
  return <div class={`notice ${kind}`} role={kind === 'error' ? 'alert' : 'status'}>{props.children}</div>;
}

/** What a failure says. The server's own words where it has said any. */
export function failureText(failure: unknown): string {
  if (failure instanceof ServerError) return failure.message;
  if (failure instanceof NoAnswer) return t.lost;
  return failure instanceof Error ? failure.message : String(failure);
}

export function Failure(props: {failure: unknown; onAgain?: () => void}) {
  return (
    <Notice kind="error">
      <span class="server-text">{failureText(props.failure)}</span>
      {props.onAgain && <button type="button" onClick={props.onAgain}>{t.again}</button>}
    </Notice>
  );
}
