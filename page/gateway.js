// Talks to the device: reads state.json, posts settings, waits until the application uses them. For custom pages too.

import { isSame } from './check.js';

function isText(value) {
  return typeof value === 'string';
}

function isSetting(setting) {
  return isText(setting?.name) && isText(setting.value) &&
    (setting.type !== 'choice' || (Array.isArray(setting.choices) && setting.choices.every((c) => isText(c?.value))));
}

// Resolves to the content of state.json. Rejects with a reason to show if it cannot be read.
export async function readState() {
  let response;
  try {
    response = await fetch('state.json', { cache: 'no-store', signal: AbortSignal.timeout(5000) });
  } catch {
    throw new Error('The device did not answer.');
  }
  if (!response.ok) {
    throw new Error('The application has not published its settings. It may not have been started yet.');
  }
  const state = await response.json().catch(() => null);
  if (!Array.isArray(state?.settings) || !state.settings.every(isSetting)) {
    throw new Error('The application has published its settings in a form that this page cannot read.');
  }
  state.refusals = Array.isArray(state.refusals) ? state.refusals.filter((r) => isText(r?.reason)) : [];
  return state;
}

// Returns the values in use as { name: value }.
export function valuesInUse(state) {
  return Object.fromEntries(state.settings.map(({ name, value }) => [name, value]));
}

// encodeURIComponent, not URLSearchParams: the gateway reads "+" as a plus sign, so a space has to be "%20".
function encodeForm(values) {
  return Object.entries(values).map((field) => field.map(encodeURIComponent).join('=')).join('&');
}

// Posts `values` ({ name: value }) and resolves to the status word: 'restarted', 'running', 'stopped' or 'false'. The
// values replace all saved settings, so pass every setting. Rejects with a reason to show if the gateway did not answer.
export async function postSettings(values, action = 'saveSettings') {
  let response;
  try {
    response = await fetch(action, {
      method: 'POST',
      headers: { 'Content-Type': 'application/x-www-form-urlencoded' },
      body: encodeForm(values),
      referrerPolicy: 'same-origin',
      signal: AbortSignal.timeout(15000)
    });
  } catch {
    throw new Error('The device did not answer.');
  }
  const word = new URL(response.url).searchParams.get('success'); // of the page that the gateway redirects to
  if (!['restarted', 'running', 'stopped', 'false'].includes(word)) {
    throw new Error(`The server answered with status ${response.status}.`);
  }
  return word;
}

// Returns the settings in `state` whose value in use is not the one in `values`.
export function findDifferences(state, values) {
  return state.settings.filter((setting) => !isSame(setting, setting.value, values[setting.name]));
}

// Reads state.json for up to five seconds, until its revision differs from `revision` and each of `values` is in use or
// refused. Resolves to the last state that could be read, or null.
export async function awaitState(revision, values) {
  const end = Date.now() + 5000;
  let state = null;
  for (;;) {
    state = await readState().catch(() => state);
    const isSettled = state !== null && state.revision !== revision &&
      findDifferences(state, values).every(({ name }) => state.refusals.some((refusal) => refusal.name === name));
    if (isSettled || Date.now() > end) {
      return state;
    }
    await new Promise((resolve) => setTimeout(resolve, 200));
  }
}
