// Answers that send a request elsewhere.

type Init = RequestInit & {headers: Record<string, string>};

/** No more are followed: two servers may send a request to each other. */
const kMostRedirects = 5;

const kWithSameMethod = [307, 308];
const kForReading = [301, 302, 303, ...kWithSameMethod];

/** Where the answer to a request to `url` sends it; null where it sends it nowhere. A write is sent
 * again only where the answer says that method and body stay as they are. */
function destinationOf(response: Response, url: string, method: string | undefined): URL | null {
  const location = response.headers.get('Location');
  const followed = method === 'POST' ? kWithSameMethod : kForReading;
  if (location === null || !followed.includes(response.status)) return null;
  try {
    return new URL(location, url);
  } catch {
    return null;
  }
}

/** Like `send`, follows redirects. The token goes to the server that it was meant for, by its scheme,
 * host and port, and to no other. Where there are too many redirects, the last one is the answer. */
export async function fetchFollowing(url: string, init: Init, send: typeof fetch): Promise<Response> {
  let to = url;
  let headers = init.headers;
  for (let followed = 0; ; ++followed) {
    const response = await send(to, {...init, headers, redirect: 'manual'});
    // A browser follows by itself or says nothing; to another server it takes no token along either.
    if (response.type === 'opaqueredirect') return send(to, {...init, headers, redirect: 'follow'});
    const destination = followed < kMostRedirects ? destinationOf(response, to, init.method) : null;
    if (destination === null) return response;
    await response.body?.cancel();
    if (destination.origin !== new URL(to).origin) {
      const {Authorization: _, ...others} = headers;
      headers = others;
    }
    to = destination.href;
  }
}
