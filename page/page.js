// Builds the form from state.json, saves it, and shows what became of it.

import { isSame } from './check.js';
import { create } from './element.js';
import { Field } from './field.js';
import { awaitState, findDifferences, postSettings, readState, valuesInUse } from './gateway.js';

const form = document.getElementById('settings');
let fields = [];
let built = null; // the state that the form was built from
let saved = {}; // the values that leaving the page does not lose

const outcomes = {
  restarted: ['good', 'Saved', 'The application was signalled to load the new settings.'],
  running: ['warn', 'Saved, but not in use yet',
    'The running application could not be signalled. It loads the settings when it starts next.'],
  stopped: ['warn', 'Saved, but the application is not running', 'It takes over the settings when it starts.'],
  false: ['bad', 'It is not certain that anything was saved', 'Either the settings could not be stored, or it is ' +
    'unclear which application they belong to. Check that the application is running and that the device has free ' +
    'space, then save again. Your entries are still below.']
};

// --- The banner ---

const title = create('h2', { id: 'banner-title' });
const text = create('p', { id: 'banner-text' });
const list = create('ul', { id: 'banner-list' });
const retry = create('button', { id: 'retry', type: 'button', class: 'quiet' }, 'Try again');
const banner = create('div', { id: 'banner', role: 'status', tabindex: '-1', hidden: '' }, title, text, list, retry);
form.before(banner);

// Shows a message and moves the focus to it, and with it the view and the screen reader.
function announce(look, heading, sentence, entries = []) {
  banner.className = `banner ${look}`;
  title.textContent = heading;
  text.textContent = sentence;
  list.replaceChildren(...entries.map((entry) => create('li', {}, entry)));
  retry.hidden = true;
  banner.hidden = false;
  banner.focus();
}

// --- The form ---

// The element of the page for this setting: its own if there is one, else the common one, which may be missing.
function findPlace(name) {
  return form.querySelector(`[data-setting="${CSS.escape(name)}"]`) ?? document.getElementById('fields');
}

// Builds the form. Fields show the values in use, and what was entered where the application refused it.
function build(state, entered = valuesInUse(state)) {
  const all = state.settings.map((setting, index) => new Field(setting, `setting-${index}`));
  const places = new Map(all.map((field) => [field, findPlace(field.setting.name)]));
  new Set(places.values()).forEach((place) => place?.replaceChildren());
  places.forEach((place, field) => place?.append(field.element));
  fields = all.filter((field) => places.get(field) !== null);
  saved = valuesInUse(state);
  built = state;
  for (const field of fields) {
    const { name } = field.setting;
    const refusal = state.refusals.find((candidate) => candidate.name === name);
    if (refusal !== undefined) {
      field.value = entered[name] ?? field.value;
      field.complain(refusal.reason);
    }
  }
  form.hidden = false;
}

function readForm() {
  return Object.fromEntries(fields.map(({ setting, value }) => [setting.name, value]));
}

function hasChanges() {
  return fields.some(({ setting, value }) => !isSame(setting, value, saved[setting.name]));
}

// --- Saving ---

// Shows how the application took over `values`, once it did or five seconds have passed.
async function confirmSave(revision, values) {
  const state = await awaitState(revision, values);
  const different = state === null ? [] : findDifferences(state, values);
  const isRefused = ({ name }) => state.refusals.some((refusal) => refusal.name === name);
  if (state !== null && different.length === 0) {
    build(state);
    announce('good', 'Saved and applied', 'The application uses the new settings.');
  } else if (state !== null && state.revision !== revision && different.every(isRefused)) {
    build(state, values);
    announce('warn', 'Saved, but not everything was accepted', 'The application keeps its own values for these. ' +
      'Please correct them and save again.', state.refusals.map(({ reason }) => reason));
  } else {
    saved = values;
    announce('warn', 'Saved, but not confirmed', 'The application was signalled, but has not loaded all settings yet. ' +
      'Load this page again in a moment.', different.map(({ name, label }) => String(label ?? name)));
  }
}

async function save(event) {
  event.preventDefault();
  const wrong = fields.filter((field) => !field.check());
  if (wrong.length > 0) {
    wrong[0].control.focus();
    return;
  }

  announce('busy', 'Saving…', '');
  form.inert = true;
  try {
    const before = await readState().catch(() => built);
    const values = { ...valuesInUse(before), ...readForm() }; // a custom page may not show every setting
    const word = await postSettings(values, form.getAttribute('action'));
    if (word === 'restarted') {
      announce('busy', 'Saved', 'Waiting for the application to take over the new settings…');
      await confirmSave(before.revision, values);
      return;
    }
    saved = word === 'false' ? saved : values;
    announce(...outcomes[word]);
  } catch (error) {
    const [look, heading] = outcomes.false;
    announce(look, heading, `${error.message} Check that the device is switched on and connected, then save again. ` +
      'Your entries are still below.');
  } finally {
    form.inert = false;
  }
}

// --- Start ---

// Removes the status word of a redirect from the address, so that it is not shown again, and returns it.
function takeStatusWord() {
  const address = new URL(window.location.href);
  const word = address.searchParams.get('success');
  if (word !== null) {
    address.searchParams.delete('success');
    window.history.replaceState(null, '', address);
  }
  return word;
}

// Builds the form, or shows why that is not possible. Returns true if it could.
async function load() {
  try {
    build(await readState());
    return true;
  } catch (error) {
    const hint = form.hidden ? '' : ' Your entries are unchanged.';
    announce('bad', 'The settings cannot be read', error.message + hint);
    retry.hidden = !form.hidden;
    return false;
  }
}

async function start() {
  const word = takeStatusWord();
  if (!await load()) {
    return;
  }
  banner.hidden = true;
  const reasons = fields.map(({ error }) => error.textContent).filter(Boolean);
  if (Object.hasOwn(outcomes, word)) {
    announce(...outcomes[word], reasons);
  } else if (reasons.length > 0) {
    announce('warn', 'The application refused some settings', 'It keeps its own values for these.', reasons);
  }
}

async function discard() {
  if (await load()) {
    announce('good', 'Changes discarded', 'The form shows the values in use.');
  }
}

function restoreDefaults() {
  fields.forEach((field) => {
    field.value = field.setting.default ?? field.setting.value;
  });
  announce('busy', 'Defaults restored', 'They are not saved yet.');
}

form.addEventListener('submit', save);
document.getElementById('discard')?.addEventListener('click', discard);
document.getElementById('defaults')?.addEventListener('click', restoreDefaults);
retry.addEventListener('click', start);
window.addEventListener('beforeunload', (event) => {
  if (hasChanges() || form.inert) {
    event.preventDefault();
    event.returnValue = ''; // for Chromium before 119
  }
});
start();
