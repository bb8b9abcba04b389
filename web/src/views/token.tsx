// The token: entered here, kept for the tab only.

import {effect, signal} from '@preact/signals';
import {useState} from 'preact/hooks';
import {ServerError, type Scope} from 'korvane-client';

import {address, go} from '../address';
import {Failure, Notice} from '../parts/notices';
import {readAccess} from '../server/server';
import {access, setToken, token, wantsToken} from '../server/session';
import {words} from '../words/words';
import './token.css';

const t = words({
  en: {
    title: 'Token', wanted: 'This server answers only to those who have a token.', label: 'Token',
    help: 'The administrator of the server gives it. It is kept in this tab only, and forgotten when the tab is closed.',
    show: 'Show', use: 'Use it', asking: 'Asking the server …', forget: 'Forget it',
    unknown: 'The server does not know this token.', odd: 'A token has only letters, digits and signs, without spaces.',
    you: 'You are', may: 'You may', mayNot: 'You may not', other: 'Use another token',
    open: 'The server asks for no token.', nothing: 'nothing',
    scopes: {
      read: 'look at projects, compare, query and export them',
      write: 'make projects, import into them and correct them',
      sql: 'change projects by SQL',
    },
  },
  de: {
    title: 'Token', wanted: 'Dieser Server antwortet nur mit einem Token.', label: 'Token',
    help: 'Die Verwaltung des Servers gibt es aus. Es bleibt nur in diesem Tab und ist vergessen, wenn er geschlossen wird.',
    show: 'Zeigen', use: 'Verwenden', asking: 'Der Server wird gefragt …', forget: 'Vergessen',
    unknown: 'Der Server kennt dieses Token nicht.', odd: 'Ein Token hat nur Buchstaben, Ziffern und Zeichen, keine Leerzeichen.',
    you: 'Sie sind', may: 'Sie dürfen', mayNot: 'Sie dürfen nicht', other: 'Ein anderes Token verwenden',
    open: 'Der Server verlangt kein Token.', nothing: 'nichts',
    scopes: {
      read: 'Projekte ansehen, vergleichen, abfragen und ausgeben',
      write: 'Projekte anlegen, in sie einlesen und sie berichtigen',
      sql: 'Projekte durch SQL ändern',
    },
  },
});

/** Those that people have; another server has `copy`. */
const kScopes = ['read', 'write', 'sql'] as const satisfies readonly Scope[];

/** Where one was before one came here. */
let before = '#/';
effect(() => {
  if (address.value.path[0] !== 'token') before = location.hash || '#/';
});

function Who() {
  const known = access.value;
  if (known === null || wantsToken.value) return null;
  const allowed = kScopes.filter((scope) => known.scopes.includes(scope));
  const denied = kScopes.filter((scope) => !known.scopes.includes(scope));
  return (
    <section class="token-who">
      <p>{t.you} <strong><bdi>{known.client}</bdi></strong>. {token.value === '' && t.open}</p>
      <p>{t.may}:</p>
      <ul>{allowed.length > 0 ? allowed.map((scope) => <li key={scope}>{t.scopes[scope]}</li>) : <li>{t.nothing}</li>}</ul>
      {denied.length > 0 && (
        <>
          <p>{t.mayNot}:</p>
          <ul>{denied.map((scope) => <li key={scope}>{t.scopes[scope]}</li>)}</ul>
        </>
      )}
      {token.value !== '' && (
        <button type="button" onClick={() => {
          access.value = null;
          setToken('');
        }}>{t.forget}</button>
      )}
    </section>
  );
}

// Not the form's own: it is made anew whenever the server begins or ceases to want a token.
const entered = signal('');
const isAsking = signal(false);
const failure = signal<unknown>(null);

function EntryForm() {
  const [isShown, setShown] = useState(false);
  const enter = async (event: Event) => {
    event.preventDefault();
    const candidate = entered.value.trim();
    if (candidate === '') return;
    // Nothing else can be sent in a header.
    if (!/^[!-~]+$/.test(candidate)) {
      failure.value = new Error(t.odd);
      return;
    }
    const former = token.value;
    isAsking.value = true;
    failure.value = null;
    setToken(candidate);
    try {
      await readAccess();
      entered.value = '';
      if (address.value.path[0] === 'token') go(before);
    } catch (reason) {
      setToken(former);
      failure.value = reason instanceof ServerError && reason.status === 401 ? new Error(t.unknown) : reason;
    } finally {
      isAsking.value = false;
    }
  };
  return (
    <form class="token-form" onSubmit={enter}>
      <label for="token">{wantsToken.value || access.value === null ? t.label : t.other}</label>
      <div class="row">
        <input id="token" type={isShown ? 'text' : 'password'} value={entered.value} autocomplete="off" spellcheck={false}
          autocapitalize="none" aria-describedby="token-help"
          onInput={(event) => {
            entered.value = event.currentTarget.value;
          }} />
        <button type="button" aria-pressed={isShown} onClick={() => setShown(!isShown)}>{t.show}</button>
        <button type="submit" class="main" disabled={isAsking.value || entered.value.trim() === ''}>{t.use}</button>
      </div>
      <p id="token-help" class="quiet">{t.help}</p>
      {isAsking.value && <p role="status">{t.asking}</p>}
      {failure.value !== null && <Failure failure={failure.value} />}
    </form>
  );
}

export function Token() {
  return (
    <div class="token">
      <h1>{t.title}</h1>
      {wantsToken.value && <Notice>{t.wanted}</Notice>}
      <Who />
      <EntryForm />
    </div>
  );
}
