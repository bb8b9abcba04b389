// What can go wrong with a call.

/** The members of a problem document (RFC 9457). */
export interface ProblemDocument {
  type?: string;
  title?: string;
  status?: number;
  detail?: string;
}

/** What every failure of a call is. */
export class KorvaneError extends Error {
  override name = 'KorvaneError';
}

/** The server has refused, or failed. `message` is what it says for people. */
export class ServerError extends KorvaneError {
  override name = 'ServerError';
  /** What kind of failure it is, as a URI; "about:blank" where the status says it all. */
  readonly type: string;
  readonly title: string;
  /** What failed: it names the input and what was expected. */
  readonly detail: string;
  /** By which the server's log has the request; null where something else has answered. */
  readonly requestId: string | null;
  /** After how many seconds it is worth trying again; null where the server has not said it. */
  readonly retryAfter: number | null;

  constructor(readonly status: number, problem: ProblemDocument, headers: Headers) {
    super(problem.detail ?? problem.title ?? `status ${status}`);
    this.type = problem.type ?? 'about:blank';
    this.title = problem.title ?? '';
    this.detail = this.message;
    this.requestId = headers.get('Request-Id');
    this.retryAfter = secondsOf(headers.get('Retry-After'));
  }
}

/** No answer came, or not all of it: the server is gone, or the way to it. Of a write nobody knows
 * whether it was done. `cause` is what `fetch` said. */
export class NoAnswer extends KorvaneError {
  override name = 'NoAnswer';

  constructor(cause: unknown) {
    super('the server does not answer', {cause});
  }
}

/** Seconds, or a date. */
function secondsOf(retryAfter: string | null): number | null {
  if (retryAfter === null || retryAfter.trim() === '') return null;
  const seconds = Number(retryAfter);
  if (Number.isFinite(seconds)) return Math.max(0, seconds);
  const date = Date.parse(retryAfter);
  return Number.isNaN(date) ? null : Math.max(0, (date - Date.now()) / 1000);
}

export async function serverErrorOf(response: Response): Promise<ServerError> {
  let problem: ProblemDocument = {title: response.statusText};
  try {
    const said: unknown = await response.json();
    if (typeof said === 'object' && said !== null) problem = said;
  } catch {
    // Something between here and the server has answered.
  }
  return new ServerError(response.status, problem, response.headers);
}
