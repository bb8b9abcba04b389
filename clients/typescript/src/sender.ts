// One request on its way: the token, its repetitions, and what comes of it.

import {KorvaneError, NoAnswer, ServerError, serverErrorOf} from './errors.js';
import {newKey} from './key.js';
import {fetchWithProgress, type Progress} from './progress.js';
import {fetchFollowing} from './redirects.js';

export type Query = Record<string, string | number | boolean | undefined>;
export type Content = string | Blob | ArrayBuffer | Uint8Array<ArrayBuffer>;

export interface Repeating {
  /** How often a request is sent at most, the first time included. */
  attempts: number;
  /** Milliseconds before the second time. Before each further time they double. */
  firstWait: number;
  /** No wait is longer, in milliseconds: where the server asks for a longer one, the request fails. */
  longestWait: number;
}

export const kUsualRepeating: Repeating = {attempts: 4, firstWait: 250, longestWait: 10_000};

export interface SenderOptions {
  /** Where the server is: "http://127.0.0.1:8420". */
  url: string;
  /** What `korvane token` has given; asked for each request where it is a function. */
  token?: string | (() => string | undefined) | undefined;
  repeating?: Partial<Repeating>;
  /** In place of the global one. */
  fetch?: typeof fetch;
  /** Is told of every attempt: the status of the answer, or null where none came. */
  onAnswer?: (status: number | null) => void;
}

export interface Outgoing {
  method: 'GET' | 'HEAD' | 'POST';
  path: string;
  query?: Query;
  headers?: Record<string, string>;
  body?: Content;
  signal?: AbortSignal | undefined;
  /** Whether doing it twice is the same as doing it once. */
  isRepeatable: boolean;
  /** Whether the server knows it again by its Idempotency-Key, which makes it repeatable. */
  takesKey?: boolean;
  onProgress?: Progress | undefined;
}

/** Says whether an answer means that the same may be asked again later. */
function isPassing(failure: ServerError): boolean {
  if (failure.status === 429 || failure.status === 503) return true;
  // The first of two with one key is still at work, and the server says when to ask again.
  return failure.status === 409 && failure.retryAfter !== null;
}

/** Throws what `signal` is aborted with meanwhile. */
export function pause(milliseconds: number, signal?: AbortSignal): Promise<void> {
  return new Promise((resolve, reject) => {
    const stop = () => {
      clearTimeout(timer);
      reject(signal?.reason);
    };
    const timer = setTimeout(() => {
      signal?.removeEventListener('abort', stop);
      resolve();
    }, milliseconds);
    signal?.addEventListener('abort', stop, {once: true});
    if (signal?.aborted) stop();
  });
}

export function queryText(query: Query = {}): string {
  const parameters = new URLSearchParams();
  for (const [name, value] of Object.entries(query)) {
    if (value !== undefined) parameters.set(name, String(value));
  }
  const text = parameters.toString();
  return text ? `?${text}` : '';
}

export class Sender {
  readonly #options: SenderOptions;
  readonly #url: string;
  readonly repeating: Repeating;

  constructor(options: SenderOptions) {
    this.#options = options;
    this.#url = options.url.replace(/\/+$/, '');
    this.repeating = {...kUsualRepeating, ...options.repeating};
  }

  /** Throws ServerError and NoAnswer, and what `signal` was aborted with. `read` takes the body, and
   * is called again where the request is repeated because the body broke off. */
  async send<T>(request: Outgoing, read: (response: Response) => Promise<T>): Promise<T> {
    const headers = {...request.headers};
    if (request.takesKey) headers['Idempotency-Key'] ??= await newKey();
    const whole = {
      ...request,
      headers,
      isRepeatable: request.isRepeatable || request.takesKey === true,
    };
    for (let attempt = 1; ; ++attempt) {
      try {
        return await this.#sendOnce(whole, read);
      } catch (failure) {
        const wait = whole.isRepeatable ? this.#waitAfter(failure, attempt) : null;
        if (wait === null) throw failure;
        await pause(wait, request.signal);
      }
    }
  }

  /** Sends it once and gives the answer, of which the caller reads the body as it comes. */
  open(request: Outgoing): Promise<Response> {
    return this.#sendOnce(request, (response) => Promise.resolve(response));
  }

  /** Milliseconds after so many attempts that have failed. Many clients of one server that was gone do
   * not all come back at once. */
  backOff(attempt: number): number {
    const {firstWait, longestWait} = this.repeating;
    return Math.min(firstWait * 2 ** (attempt - 1), longestWait) * (0.5 + Math.random() / 2);
  }

  /** Milliseconds, or null where asking again is no use. */
  #waitAfter(failure: unknown, attempt: number): number | null {
    const {attempts, longestWait} = this.repeating;
    if (attempt >= attempts) return null;
    const ours = this.backOff(attempt);
    if (failure instanceof NoAnswer) return ours;
    if (!(failure instanceof ServerError) || !isPassing(failure)) return null;
    const theirs = (failure.retryAfter ?? 0) * 1000;
    return theirs > longestWait ? null : Math.max(ours, theirs);
  }

  async #sendOnce<T>(request: Outgoing, read: (response: Response) => Promise<T>): Promise<T> {
    let status: number | null = null;
    try {
      const response = await this.#answerTo(request);
      status = response.status;
      if (!response.ok) throw await serverErrorOf(response);
      return await read(response);
    } catch (failure) {
      if (failure instanceof KorvaneError || request.signal?.aborted) throw failure;
      // What is no JSON has come whole.
      if (failure instanceof SyntaxError) throw failure;
      status = null;
      throw new NoAnswer(failure);
    } finally {
      if (!request.signal?.aborted) this.#options.onAnswer?.(status);
    }
  }

  #answerTo(request: Outgoing): Promise<Response> {
    const {token} = this.#options;
    const bearer = typeof token === 'function' ? token() : token;
    const url = this.#url + request.path + queryText(request.query);
    const init: RequestInit & {headers: Record<string, string>} = {
      method: request.method,
      headers: {...request.headers, ...(bearer ? {Authorization: `Bearer ${bearer}`} : {})},
      ...(request.body === undefined ? {} : {body: request.body}),
      ...(request.signal ? {signal: request.signal} : {}),
    };
    const once = this.#options.fetch ?? fetch;
    if (!request.onProgress) return fetchFollowing(url, init, once);
    return fetchWithProgress(url, init, request.onProgress, () => fetchFollowing(url, init, once));
  }
}
