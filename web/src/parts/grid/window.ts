import type {RefObject} from 'preact';
import {useEffect, useLayoutEffect, useRef, useState} from 'preact/hooks';

/** In milliseconds: one has stopped scrolling. */
const kPause = 200;

/** Rows above and below those that are seen, so that a small step of scrolling finds them there. */
const kBeyond = 6;

export interface Window {
  from: number;
  /** After the last. */
  to: number;
  /** The place among the elements in which a row stands, until it is no longer in the page. */
  slotOf: (row: number) => number;
  /** The first row that is seen, and how many are. */
  first: number;
  seen: number;
  /** Scrolls as little as needed for the row to be seen. */
  reveal: (row: number) => void;
}

/** Which of `count` rows of equal height are to be in the page. All rows being as high as each other,
 * this is a division: nothing is measured while one scrolls, and nothing is kept for each row. */
export function useWindow(
  scroller: RefObject<HTMLElement>, head: RefObject<HTMLElement>, count: number, rowHeight: number): Window {
  const [first, setFirst] = useState(0);
  const [height, setHeight] = useState(600);
  const measured = useRef(600);
  const [base, setBase] = useState(0);
  const from = useRef(0);
  useLayoutEffect(() => {
    const outer = scroller.current;
    const inner = head.current;
    if (!outer || !inner) return;
    const measure = () => {
      measured.current = Math.max(0, outer.clientHeight - inner.offsetHeight);
      setHeight(measured.current);
    };
    measure();
    const observer = new ResizeObserver(measure);
    observer.observe(outer);
    observer.observe(inner);
    return () => observer.disconnect();
  }, []);
  useEffect(() => {
    const outer = scroller.current;
    if (!outer) return;
    let pause: ReturnType<typeof setTimeout>;
    const scrolled = () => {
      setFirst(Math.max(0, Math.floor(outer.scrollTop / rowHeight)));
      clearTimeout(pause);
      pause = setTimeout(() => setBase(from.current), kPause);
    };
    scrolled();
    outer.addEventListener('scroll', scrolled, {passive: true});
    return () => {
      clearTimeout(pause);
      outer.removeEventListener('scroll', scrolled);
    };
  }, [rowHeight]);

  const seen = Math.ceil(height / rowHeight) + 1;
  const slots = seen + 2 * kBeyond;
  const start = Math.max(0, Math.min(first, count - seen));
  from.current = Math.max(0, start - kBeyond);
  return {
    from: from.current,
    to: Math.min(count, start + seen + kBeyond),
    // While one scrolls, an element is used again for the row that comes after all others and stays where it is
    // among the elements: moving it would cost more than a frame has. When one has stopped, they stand in the
    // order of the rows again, in which they are read out.
    slotOf: (row) => (((row - base) % slots) + slots) % slots,
    first: start,
    seen: Math.min(seen, count - start),
    reveal: (row) => {
      const outer = scroller.current;
      if (!outer) return;
      if (row * rowHeight < outer.scrollTop) outer.scrollTop = row * rowHeight;
      const end = (row + 1) * rowHeight;
      if (end > outer.scrollTop + measured.current) outer.scrollTop = end - measured.current;
    },
  };
}
