// Sends a file to `import`, and says how far it is.

import {authorization, NoAnswer, ofProject, ServerError, url, type Query} from '../../server/call';
import type {ImportReply} from '../../server/project';
import {isLost, wantsToken} from '../../server/session';

/** What the server says of a failure, in a problem document or in plain text. */
function detailOf(request: XMLHttpRequest): string {
  try {
    const problem = JSON.parse(request.responseText) as {detail?: string; title?: string};
    return problem.detail ?? problem.title ?? request.statusText;
  } catch {
    return request.statusText;
  }
}

/** `onProgress` gets what part has been sent: 1 when the server has all of it. Throws ServerError and NoAnswer. */
export function sendImport(
  file: string, content: Blob, query: Query, onProgress: (part: number) => void): Promise<ImportReply> {
  return new Promise((resolve, reject) => {
    const request = new XMLHttpRequest();
    request.open('POST', url(ofProject(file, 'import'), query));
    for (const [name, value] of Object.entries(authorization())) request.setRequestHeader(name, value);
    request.setRequestHeader('Content-Type', 'application/octet-stream');
    request.setRequestHeader('Accept', 'application/json');
    request.upload.onprogress = (event) => onProgress(event.total > 0 ? event.loaded / event.total : 1);
    request.upload.onload = () => onProgress(1);
    request.onerror = () => {
      isLost.value = true;
      reject(new NoAnswer('the server does not answer'));
    };
    request.onload = () => {
      isLost.value = false;
      if (request.status === 401) wantsToken.value = true;
      if (request.status < 200 || request.status > 299) {
        reject(new ServerError(request.status, detailOf(request)));
        return;
      }
      try {
        resolve(JSON.parse(request.responseText) as ImportReply);
      } catch (failure) {
        reject(failure instanceof Error ? failure : new Error(String(failure)));
      }
    };
    request.send(content);
  });
}
