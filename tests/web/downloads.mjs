// Files that a page gives to the person.

import {readdirSync, readFileSync, statSync} from 'node:fs';
import {join} from 'node:path';

import {temporaryFolder, until} from '../clients/server.mjs';

/** Takes the downloads of a page's profile from now on. */
export async function downloads(context, page) {
  const folder = temporaryFolder(context);
  const session = await page.target().createCDPSession();
  await session.send('Browser.setDownloadBehavior',
    {behavior: 'allow', downloadPath: folder, browserContextId: page.browserContext().id});
  return {
    /** Waits for the file and gives its bytes. */
    async named(name) {
      // It has its name a moment before it has its content.
      const isThere = () => readdirSync(folder).includes(name) && statSync(join(folder, name)).size > 0;
      await until(isThere, `a download ${name}`);
      return readFileSync(join(folder, name));
    },
  };
}
