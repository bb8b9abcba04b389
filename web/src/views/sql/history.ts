// The queries that were run in this tab.

const kMost = 30;

function key(file: string): string {
  return `korvane-queries ${file}`;
}

export function queriesRun(file: string): string[] {
  try {
    const stored: unknown = JSON.parse(sessionStorage.getItem(key(file)) ?? '[]');
    return Array.isArray(stored) ? stored.filter((one): one is string => typeof one === 'string') : [];
  } catch {
    return [];
  }
}

/** The last first, each once. */
export function remember(file: string, query: string): string[] {
  const queries = [query, ...queriesRun(file).filter((one) => one !== query)].slice(0, kMost);
  try {
    sessionStorage.setItem(key(file), JSON.stringify(queries));
  } catch {
    // The browser has no room for them: they last as long as the view.
  }
  return queries;
}
