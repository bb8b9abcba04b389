import {useEffect, useState} from 'preact/hooks';

export interface Loaded<T> {
  value: T | null;
  failure: unknown;
  isLoading: boolean;
  /** Loads it anew; what is there stays until then. */
  again: () => void;
}

/** What `load` gives, anew whenever one of `inputs` changes. */
export function useLoaded<T>(load: (signal: AbortSignal) => Promise<T>, inputs: unknown[]): Loaded<T> {
  const [state, setState] = useState<{value: T | null; failure: unknown; isLoading: boolean}>(
    {value: null, failure: null, isLoading: true});
  const [round, setRound] = useState(0);
  useEffect(() => {
    const controller = new AbortController();
    setState((before) => ({...before, failure: null, isLoading: true}));
    load(controller.signal).then(
      (value) => {
        if (!controller.signal.aborted) setState({value, failure: null, isLoading: false});
      },
      (failure: unknown) => {
        if (!controller.signal.aborted) setState((before) => ({...before, failure, isLoading: false}));
      });
    return () => controller.abort();
  }, [...inputs, round]);
  return {...state, again: () => setRound((n) => n + 1)};
}
