import {useEffect} from 'preact/hooks';

import {guardAddress} from '../../address';
import {words} from '../../words/words';

const t = words({
  en: {leave: 'What you have typed is not stored. Leave it?'},
  de: {leave: 'Was Sie eingegeben haben, ist nicht gespeichert. Verwerfen?'},
});

/** Whether what was typed may go. */
export function mayLeave(hasUnsaved: boolean): boolean {
  return !hasUnsaved || confirm(t.leave);
}

/** Asks before one leaves the page, or this view of it. */
export function useLeaving(hasUnsaved: boolean): void {
  useEffect(() => {
    if (!hasUnsaved) return;
    const unloading = (event: BeforeUnloadEvent) => event.preventDefault();
    const free = guardAddress(() => mayLeave(true));
    addEventListener('beforeunload', unloading);
    return () => {
      removeEventListener('beforeunload', unloading);
      free();
    };
  }, [hasUnsaved]);
}
