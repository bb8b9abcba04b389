// One call of the server, and what can go wrong with it.

import {isLost, token, wantsToken} from './session';

/** The server has refused, or failed. `message` is what it says. */
export class ServerError extends Error {
  constructor(readonly status: number, message: string, readonly retryAfter?: number) {
    super(message);
  }
}

/** No answer came: the server is gone, or the way to it. */
export class NoAnswer extends Error {}

export type Query = Record<string, string | number | boolean | undefined>;

export interface CallOptions {
  query?: Query;
  method?: 'GET' | 'POST';
  body?: BodyInit;
  headers?: Record<string, string>;
  signal?: AbortSignal;
}

export function url(path: string, query: Query = {}): string {
  const params = new URLSearchParams();
  for (const [name, value] of Object.entries(query)) {
    if (value !== undefined) params.set(name, String(value));
  }
  const text = params.toString();
  return path + (text ? '?' + text : '');
}

/** The path of a project's operation or route. */
export function ofProject(file: string, name: string): string {
  return `/v1/projects/${encodeURIComponent(file)}/${name}`;
}

export function authorization(): Record<string, string> {
  return token.value ? {Authorization: `Bearer ${token.value}`} : {};
}

/** Throws ServerError and NoAnswer, and AbortError where `signal` ends it. */
export function call(path: string, options: CallOptions = {}): Promise<Response> {
  return send(new Request(url(path, options.query), {
    method: options.method ?? 'GET',
    ...(options.headers ? {headers: options.headers} : {}),
    ...(options.body === undefined ? {} : {body: options.body}),
    ...(options.signal ? {signal: options.signal} : {}),
  }));
}

/** The same for a request that is whole but for the token. */
export async function send(request: Request): Promise<Response> {
  for (const [name, value] of Object.entries(authorization())) request.headers.set(name, value);
  let response: Response;
  try {
    response = await fetch(request);
  } catch (failure) {
    if (request.signal.aborted) throw failure;
    isLost.value = true;
    throw new NoAnswer('the server does not answer');
  }
  isLost.value = false;
  if (response.ok) return response;
  if (response.status === 401) wantsToken.value = true;
  throw await errorOf(response);
}

async function errorOf(response: Response): Promise<ServerError> {
  const retry = Number(response.headers.get('Retry-After'));
  let text = response.statusText;
  try {
    const problem = (await response.json()) as {detail?: string; title?: string};
    text = problem.detail ?? problem.title ?? text;
  } catch {
    // Something between here and the server has answered.
  }
  return new ServerError(response.status, text, retry > 0 ? retry : undefined);
}

export async function postJson<T>(
  path: string, body: unknown, query: Query = {}, headers: Record<string, string> = {}): Promise<T> {
  const response = await call(path, {
    method: 'POST',
    query,
    headers: {'Content-Type': 'application/json', Accept: 'application/json', ...headers},
    body: JSON.stringify(body),
  });
  return (await response.json()) as T;
}
