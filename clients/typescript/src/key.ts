// Keys by which the server knows a repeated write.

/** Kept from bundlers: where there is no `crypto` but this, there is nothing to bundle. */
const kNodeCrypto = 'node:crypto';

/** Node 18 has it as a module alone. */
async function cryptoOf(): Promise<Crypto> {
  if ((globalThis as {crypto?: Crypto}).crypto) return globalThis.crypto;
  return ((await import(/* @vite-ignore */ kNodeCrypto)) as {webcrypto: Crypto}).webcrypto;
}

/** A new one, that nobody else has. */
export async function newKey(): Promise<string> {
  const source = await cryptoOf();
  // A page has randomUUID over TLS alone.
  if (typeof source.randomUUID === 'function') return source.randomUUID();
  const bytes = source.getRandomValues(new Uint8Array(16));
  return Array.from(bytes, (byte) => byte.toString(16).padStart(2, '0')).join('');
}
