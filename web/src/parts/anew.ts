// What is shown can be loaded anew at once, whichever views show it.

import {useEffect, useRef} from 'preact/hooks';

const shown = new Set<() => void>();

/** Has `load` called whenever somebody wants to see the present state. */
export function useAnew(load: () => void): void {
  const latest = useRef(load);
  latest.current = load;
  useEffect(() => {
    const call = () => latest.current();
    shown.add(call);
    return () => {
      shown.delete(call);
    };
  }, []);
}

export function showAnew(): void {
  for (const load of [...shown]) load();
}
