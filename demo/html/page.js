'use strict';

const form = document.getElementById('settings');
const fieldLabels = {
  room: 'room name',
  note: 'note',
  target: 'target temperature',
  mode: 'mode',
  away: 'nobody at home',
  brightness: 'brightness'
};
const fieldNames = Object.keys(fieldLabels);
const modeNames = { heat: 'Heat', cool: 'Cool', auto: 'Automatic', off: 'Off' };

// --- What the device runs with ---

// Resolves to the content of state.json, or to null when the device does not tell.
async function fetchState() {
  try {
    const response = await fetch('state.json', { cache: 'no-store', signal: AbortSignal.timeout(5000) });
    return response.ok ? await response.json() : null;
  } catch {
    return null;
  }
}

function showText(id, text) {
  document.getElementById(id).textContent = text;
}

function showState(state) {
  if (state === null) {
    showText('now-revision', 'The thermostat does not answer. It may not be running.');
    return;
  }
  const now = state.settings;
  const dial = document.getElementById('dial');
  dial.dataset.mode = now.mode;
  dial.style.setProperty('--share', (now.target - 5) / 25);
  showText('dial-value', `${now.target.toFixed(1)}°`);
  showText('dial-mode', now.away ? `${modeNames[now.mode]}, away` : modeNames[now.mode]);

  showText('now-room', now.room);
  showText('now-mode', modeNames[now.mode]);
  showText('now-target', `${now.target.toFixed(1)} °C`);
  showText('now-away', now.away ? 'Yes' : 'No');
  showText('now-brightness', `${now.brightness} %`);
  showText('now-note', now.note === '' ? '–' : now.note);
  const times = state.revision === 1 ? 'once' : `${state.revision} times`;
  showText('now-revision', `Settings taken over ${times} since the thermostat started.`);
}

// A restarted device counts from the beginning, so the process belongs to the count.
function hasMoved(state, before) {
  return before === null || state.process !== before.process || state.revision !== before.revision;
}

// The names of the settings that the device runs with in another value than the one that was sent.
function findDifferences(state, values) {
  return fieldNames.filter((name) => {
    const now = state.settings[name];
    return typeof now === 'string' ? now !== values[name] : Number(now) !== Number(values[name]);
  });
}

// Asks for up to five seconds, until the device has moved on from `before` and runs with `values`. Resolves to the last
// state it told, null when it did not tell any.
async function awaitSettings({ before, values }) {
  const end = Date.now() + 5000;
  for (;;) {
    const state = await fetchState();
    const applied = state !== null && hasMoved(state, before) && findDifferences(state, values).length === 0;
    if (applied || Date.now() > end) {
      return state;
    }
    await new Promise((resolve) => setTimeout(resolve, 200));
  }
}

// --- The form ---

// The settings file keeps each value on one line and as it is; the device refuses what its display cannot show.
function reasonAgainstText(text) {
  if (/[\r\n]/.test(text)) {
    return 'Please keep this on one line: the device cannot store line breaks.';
  }
  if (/[\u0000-\u001f\u007f-\u009f]/.test(text)) {
    return 'This contains a tab or another control character, which the device cannot show. Please remove it.';
  }
  if (/[\ud800-\udfff]/u.test(text)) {
    return 'This contains half a character. Please type it anew.';
  }
  return '';
}

function reasonAgainstTarget(input) {
  const target = input.valueAsNumber;
  if (Number.isNaN(target)) {
    return 'Please enter the temperature as a number, such as 20.5.';
  }
  if (target < 5 || target > 30) {
    return 'The thermostat can hold 5 to 30 degrees.';
  }
  return /^\d+(\.\d)?$/.test(input.value) ? '' : 'Please use one digit after the point, such as 20.5.';
}

function reasonAgainst(name) {
  const input = form.elements[name];
  if (name === 'target') {
    return reasonAgainstTarget(input);
  }
  if (name === 'room' && input.value.trim() === '') {
    return 'Please give the room a name.';
  }
  return name === 'room' || name === 'note' ? reasonAgainstText(input.value) : '';
}

// Says below the field what is wrong with it. True when nothing is.
function checkField(name) {
  const reason = reasonAgainst(name);
  const error = document.getElementById(`${name}-error`);
  if (error !== null) {
    error.textContent = reason;
    form.elements[name].setAttribute('aria-invalid', String(reason !== ''));
  }
  return reason === '';
}

function showBrightness() {
  showText('brightness-value', `${form.elements.brightness.value} %`);
}

// The values as the device reads them. A box that is not ticked says so: a missing value would change nothing.
function readForm() {
  const values = {};
  for (const name of fieldNames) {
    const input = form.elements[name];
    values[name] = input.type === 'checkbox' ? (input.checked ? '1' : '0') : input.value;
  }
  return values;
}

function fillForm(values) {
  for (const name of fieldNames) {
    const input = form.elements[name];
    if (input.type === 'checkbox') {
      input.checked = values[name] === true || values[name] === '1';
    } else {
      input.value = values[name];
    }
    checkField(name);
  }
  showBrightness();
}

const factorySettings = { room: 'Living room', note: '', mode: 'heat', target: '20.5', away: '0', brightness: '60' };

// --- The banner ---

const outcomes = {
  restarted: {
    look: 'good',
    title: 'Saved',
    text: 'The thermostat has been told and is taking over the new settings.'
  },
  running: {
    look: 'warn',
    title: 'Saved, but not in use yet',
    text: 'The settings are stored, but the running thermostat could not be told. It takes them over when it starts ' +
      'the next time.'
  },
  stopped: {
    look: 'warn',
    title: 'Saved, but the thermostat is not running',
    text: 'The settings are stored. The thermostat takes them over as soon as it starts.'
  },
  false: {
    look: 'bad',
    title: 'It is not certain that anything was saved',
    text: 'Either the settings could not be stored, or it is unclear which application they belong to. Check that ' +
      'the thermostat is running and that the device has free space, then save again. Your entries are still below.'
  }
};

function showBanner(look, title, text) {
  const banner = document.getElementById('banner');
  banner.className = `banner ${look}`;
  showText('banner-title', title);
  showText('banner-text', text);
  banner.hidden = false;
}

// For news that must not be missed: the focus goes to the banner, and with it the view and the screen reader.
function announce(look, title, text) {
  showBanner(look, title, text);
  document.getElementById('banner').focus();
}

// --- Saving ---

// What was sent, and the state before it, live through the redirect in the tab's own storage. A browser that keeps
// none only loses comfort: the page then shows what the device tells.
function rememberSave(save) {
  try {
    sessionStorage.setItem('save', JSON.stringify(save));
  } catch { /* as above */ }
}

function recallSave() {
  try {
    return JSON.parse(sessionStorage.getItem('save'));
  } catch {
    return null;
  }
}

function forgetSave() {
  try {
    sessionStorage.removeItem('save');
  } catch { /* as above */ }
}

// encodeURIComponent and not URLSearchParams: the gateway takes a "+" for a plus sign, so a space has to be "%20".
function encodeForm(values) {
  return fieldNames.map((name) => `${name}=${encodeURIComponent(values[name])}`).join('&');
}

function setBusy(busy) {
  const button = document.getElementById('save');
  button.disabled = busy;
  button.textContent = busy ? 'Saving…' : 'Save settings';
}

// Resolves to the answer, the gateway's redirect followed. Rejects with a reason to show when none came.
async function postForm(values) {
  try {
    return await fetch(form.action, {
      method: 'POST',
      headers: { 'Content-Type': 'application/x-www-form-urlencoded' },
      body: encodeForm(values),
      referrerPolicy: 'same-origin',
      signal: AbortSignal.timeout(15000)
    });
  } catch {
    throw new Error('The device did not answer.');
  }
}

// The address to go on to. Throws a reason to show when the answer is not the gateway's.
function addressAfter(response) {
  const word = new URL(response.url).searchParams.get('success');
  if (word === null) {
    throw new Error(`The server answered with status ${response.status}.`);
  }
  // Without a referrer, which an extension may have removed, the answer leads to the gateway instead of this page.
  const page = new URL(window.location.href);
  page.searchParams.set('success', word);
  return response.ok ? response.url : page.href;
}

async function save(event) {
  event.preventDefault();
  const wrong = fieldNames.filter((name) => !checkField(name));
  if (wrong.length > 0) {
    form.elements[wrong[0]].focus();
    return;
  }

  setBusy(true);
  const values = readForm();
  rememberSave({ values, before: await fetchState() });
  try {
    window.location.assign(addressAfter(await postForm(values)));
  } catch (error) {
    setBusy(false);
    announce('bad', 'It is not certain that anything was saved', `${error.message} Check that the device is switched ` +
      'on and connected, then save again. Your entries are still below.');
  }
}

// --- Start ---

// Follows a save up to the moment when the device runs with it.
async function confirmSave(saved) {
  const state = await awaitSettings(saved);
  showState(state);
  if (state === null || !hasMoved(state, saved.before)) {
    showBanner('warn', 'Saved', 'The thermostat has been told, but has not confirmed the new settings yet. ' +
      'Load this page again in a moment.');
    return;
  }
  fillForm(state.settings);
  const kept = findDifferences(state, saved.values).map((name) => fieldLabels[name]);
  if (kept.length > 0) {
    showBanner('warn', 'Saved, but not all of it is in use',
      `The thermostat kept its own value for: ${kept.join(', ')}.`);
    return;
  }
  showBanner('good', 'Saved and applied', 'The thermostat runs with the new settings.');
}

async function start() {
  const word = new URLSearchParams(window.location.search).get('success');
  const outcome = Object.hasOwn(outcomes, word) ? outcomes[word] : null;
  const saved = outcome === null ? null : recallSave();

  document.getElementById('device').hidden = false;
  const state = await fetchState();
  showState(state);
  fillForm(saved !== null ? saved.values : state !== null ? state.settings : factorySettings);
  form.hidden = false;
  if (outcome === null) {
    forgetSave();
    if (state === null) {
      showBanner('warn', 'The thermostat does not answer', 'The form shows the settings it leaves the factory with.');
    }
    return;
  }

  announce(outcome.look, outcome.title, outcome.text);
  if (word === 'restarted' && saved !== null) {
    forgetSave();
    await confirmSave(saved);
  }
}

async function discard() {
  const state = await fetchState();
  showState(state);
  if (state === null) {
    announce('warn', 'The thermostat does not answer', 'Your entries are unchanged.');
    return;
  }
  fillForm(state.settings);
  announce('good', 'Changes discarded', 'The form shows what the thermostat runs with.');
}

form.addEventListener('submit', save);
form.addEventListener('input', (event) => {
  checkField(event.target.name);
  showBrightness();
});
document.getElementById('discard').addEventListener('click', discard);
// A page that the Back button brings back is as it was left: in the middle of saving.
window.addEventListener('pageshow', () => setBusy(false));
start();
