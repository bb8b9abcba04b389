import type {RefObject} from 'preact';
import {useEffect, useLayoutEffect, useRef, useState} from 'preact/hooks';

/** Rows above and below those that are seen, so that a small step of scrolling finds them there. */
const kBeyond = 6;

export interface Window {
  from: number;
  /** After the last. */
  to: number;
  /** How many rows are in the page at most: row i stands in the element i % slots. */
  slots: number;
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
    const scrolled = () => setFirst(Math.max(0, Math.floor(outer.scrollTop / rowHeight)));
    scrolled();
    outer.addEventListener('scroll', scrolled, {passive: true});
    return () => outer.removeEventListener('scroll', scrolled);
  }, [rowHeight]);

  const seen = Math.ceil(height / rowHeight) + 1;
  const slots = seen + 2 * kBeyond;
  const start = Math.max(0, Math.min(first, count - seen));
  return {
    from: Math.max(0, start - kBeyond),
    to: Math.min(count, start + seen + kBeyond),
    slots,
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
