// Sending of large bodies, that says how far it is.

/** Gets the part that has been sent: 1 when the server has all of it. */
export type Progress = (part: number) => void;

type Init = RequestInit & {headers: Record<string, string>};

function headersOf(request: XMLHttpRequest): Headers {
  const headers = new Headers();
  for (const line of request.getAllResponseHeaders().trim().split(/[\r\n]+/)) {
    const colon = line.indexOf(':');
    if (colon > 0) headers.append(line.slice(0, colon), line.slice(colon + 1).trim());
  }
  return headers;
}

/** Like `fetch`. Where there is no XMLHttpRequest, which alone can tell, `onProgress` hears of the
 * beginning and of the end. */
export async function fetchWithProgress(
  url: string, init: Init, onProgress: Progress, otherFetch: typeof fetch = fetch): Promise<Response> {
  onProgress(0);
  if (typeof XMLHttpRequest === 'undefined') {
    const response = await otherFetch(url, init);
    onProgress(1);
    return response;
  }
  return new Promise((resolve, reject) => {
    const request = new XMLHttpRequest();
    request.open(init.method ?? 'GET', url);
    for (const [name, value] of Object.entries(init.headers)) request.setRequestHeader(name, value);
    request.responseType = 'blob';
    request.upload.onprogress = (event) => onProgress(event.total > 0 ? event.loaded / event.total : 1);
    request.upload.onload = () => onProgress(1);
    request.onerror = () => reject(new TypeError('the connection broke'));
    request.onabort = () => reject(init.signal?.reason);
    request.onload = () => {
      const {status, statusText} = request;
      resolve(new Response(request.response as Blob, {status, statusText, headers: headersOf(request)}));
    };
    init.signal?.addEventListener('abort', () => request.abort(), {once: true});
    if (init.signal?.aborted) request.abort();
    else request.send(init.body as XMLHttpRequestBodyInit);
  });
}
