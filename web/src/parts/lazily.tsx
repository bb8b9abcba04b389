import {signal} from '@preact/signals';
import type {ComponentType} from 'preact';

import {Waiting} from './notices';

/** A component whose code comes when it is first shown. */
export function lazily<Props extends object>(load: () => Promise<ComponentType<Props>>): ComponentType<Props> {
  const loaded = signal<ComponentType<Props> | null>(null);
  let isAsked = false;
  return function Lazily(props: Props) {
    const Loaded = loaded.value;
    if (Loaded) return <Loaded {...props} />;
    if (!isAsked) {
      isAsked = true;
      load().then((component) => {
        loaded.value = component;
      }, () => {
        isAsked = false;
      });
    }
    return <Waiting />;
  };
}
