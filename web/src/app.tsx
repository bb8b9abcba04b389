import {useEffect} from 'preact/hooks';

import {address, href, ofFile} from './address';
import {lazily} from './parts/lazily';
import {Changed} from './parts/changed';
import {Failure, Notice, Waiting} from './parts/notices';
import {useLoaded} from './parts/loaded';
import {readAccess} from './server/server';
import {isLost, may, token, wantsToken} from './server/session';
import {Projects} from './views/projects';
import {Token} from './views/token';
import {words} from './words/words';

const t = words({
  en: {
    projects: 'Projects', contents: 'Sheets', weights: 'Weights', compare: 'Compare', sql: 'SQL',
    paper: 'Paper and files', token: 'Token', lost: 'The connection to the server is lost.',
    nothing: 'There is nothing at this address.', skip: 'To the content', site: 'Views of the project',
    refused: 'Your token does not allow to read projects.',
  },
  de: {
    projects: 'Projekte', contents: 'Pläne', weights: 'Gewichte', compare: 'Vergleich', sql: 'SQL',
    paper: 'Papier und Dateien', token: 'Token', lost: 'Die Verbindung zum Server ist unterbrochen.',
    nothing: 'An dieser Adresse ist nichts.', skip: 'Zum Inhalt', site: 'Ansichten des Projekts',
    refused: 'Ihr Token erlaubt nicht, Projekte zu lesen.',
  },
});

const Project = lazily(async () => (await import('./views/project')).Project);
const Schedule = lazily(async () => (await import('./views/schedule/schedule')).Schedule);
const Weights = lazily(async () => (await import('./views/weights')).Weights);
const Compare = lazily(async () => (await import('./views/compare')).Compare);
const Sql = lazily(async () => (await import('./views/sql/sql')).Sql);
const Paper = lazily(async () => (await import('./views/paper/paper')).Paper);

/** The views of a project, by what follows it in their address. */
const kViews = [
  {name: '', title: t.contents},
  {name: 'weights', title: t.weights},
  {name: 'compare', title: t.compare},
  {name: 'sql', title: t.sql},
  {name: 'paper', title: t.paper},
];

function View() {
  const [place, file, view = '', ...rest] = address.value.path;
  if (place === undefined) return <Projects />;
  if (place === 'token') return <Token />;
  if (place !== 'projects' || file === undefined) return <Notice kind="error">{t.nothing}</Notice>;
  switch (view) {
    case '':
      return <Project key={file} file={file} />;
    case 'schedule':
      return <Schedule key={file} file={file} revisionId={Number(rest[0])} kind={rest[1] ?? 'bars'} />;
    case 'weights':
      return <Weights key={file} file={file} />;
    case 'compare':
      return <Compare key={file} file={file} />;
    case 'sql':
      return <Sql key={file} file={file} />;
    case 'paper':
      return <Paper key={file} file={file} />;
    default:
      return <Notice kind="error">{t.nothing}</Notice>;
  }
}

function Header() {
  const [, file, view = ''] = address.value.path;
  return (
    <header class="head">
      <a class="skip" href="#content" onClick={(event) => {
        event.preventDefault();
        document.getElementById('content')?.focus();
      }}>{t.skip}</a>
      <a class="brand" href={href([])}>korvane</a>
      {file !== undefined && <span class="file" title={file}><bdi>{file}</bdi></span>}
      {file !== undefined && (
        <nav aria-label={t.site}>
          {kViews.map((one) => {
            const isHere = view === one.name || (one.name === '' && view === 'schedule');
            return (
              <a key={one.name} href={ofFile(file, one.name ? [one.name] : [])}
                aria-current={isHere ? 'page' : undefined}>{one.title}</a>
            );
          })}
        </nav>
      )}
      {(token.value || wantsToken.value) && <a class="to-token" href={href(['token'])}>{t.token}</a>}
    </header>
  );
}

export function App() {
  const known = useLoaded(readAccess, [token.value]);
  const [place, file, view = ''] = address.value.path;
  useEffect(() => {
    document.title = file === undefined ? 'korvane' : `${file} – korvane`;
  }, [file, view]);
  return (
    <>
      <Header />
      {isLost.value && <Notice kind="error">{t.lost}</Notice>}
      {place === 'projects' && file !== undefined && may('read') && !wantsToken.value
        && <Changed key={file} file={file} />}
      <main id="content" tabIndex={-1}>
        {wantsToken.value ? <Token />
          : known.failure !== null && known.value === null ? <Failure failure={known.failure} onAgain={known.again} />
          : known.value === null ? <Waiting />
          : !may('read') && place === 'projects' ? <Notice>{t.refused}</Notice>
          : <View />}
      </main>
    </>
  );
}
