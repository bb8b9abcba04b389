import {render} from 'preact';

import {App} from './app';
import './style.css';
import {language} from './words/words';

document.documentElement.lang = language;
const place = document.getElementById('page');
if (place) render(<App />, place);
