// Who the page is to the server: a token, kept for this tab only.

import {signal} from '@preact/signals';
import type {Access, Scope} from 'korvane-client';

const kKey = 'korvane-token';

export const token = signal(sessionStorage.getItem(kKey) ?? '');
/** What the token may do; null until the server has said it. */
export const access = signal<Access | null>(null);
/** Whether the server has refused to answer without a token, or with this one. */
export const wantsToken = signal(false);
/** Whether the server did not answer lately. */
export const isLost = signal(false);

export function setToken(text: string): void {
  token.value = text;
  if (text === '') sessionStorage.removeItem(kKey);
  else sessionStorage.setItem(kKey, text);
}

export function may(scope: Scope): boolean {
  return access.value?.scopes.includes(scope) ?? false;
}
