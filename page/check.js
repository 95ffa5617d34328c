// The checks of a value, with the limits that the application has.

import { greatest, isOnStep, parseDecimal } from './decimal.js';

function reasonAgainstNumber(setting, text) {
  const number = parseDecimal(text);
  if (number === null) {
    return 'Please enter a number with up to 7 decimals.';
  }
  const minimum = parseDecimal(setting.minimum);
  const maximum = parseDecimal(setting.maximum);
  if (number < (minimum ?? -greatest)) {
    return `${text} is below ${setting.minimum ?? 'what can be stored'}.`;
  }
  if (number > (maximum ?? greatest)) {
    return `${text} is above ${setting.maximum ?? 'what can be stored'}.`;
  }
  if (!isOnStep(number, minimum, parseDecimal(setting.step))) {
    return `${text} is not in steps of ${setting.step}${minimum === null ? '' : ` from ${setting.minimum}`}.`;
  }
  return '';
}

// An expression that this browser does not know is left to the application.
function matches(pattern, text) {
  try {
    return new RegExp(`^(?:${pattern})$`, 'u').test(text);
  } catch {
    return true;
  }
}

// The settings file has one line per value, and the application refuses control characters.
function reasonAgainstText(setting, text) {
  if (/[\u0000-\u001f\u007f-\u009f]/.test(text)) {
    return 'Please remove the line break, tab or other control character.';
  }
  if (/[\ud800-\udfff]/u.test(text)) {
    return 'This contains half a character. Please type it again.';
  }
  const length = [...text].length; // characters; text.length counts UTF-16 units
  if (length < setting.minimumLength) {
    return text === '' ? 'Please enter some text.' : `Please enter at least ${setting.minimumLength} characters.`;
  }
  if (length > setting.maximumLength) {
    return `${length} characters, but only ${setting.maximumLength} can be stored.`;
  }
  return text === '' || setting.pattern === undefined || matches(setting.pattern, text) ? '' : 'This is not in the expected format.';
}

// Returns why `text` is not a valid value of `setting`, or '' if it is valid.
export function reasonAgainst(setting, text) {
  switch (setting.type) {
    case 'number':
      return reasonAgainstNumber(setting, text);
    case 'choice':
      return setting.choices.some(({ value }) => value === text) ? '' : 'Please choose one.';
    case 'switch':
      return '';
    default:
      return reasonAgainstText(setting, text);
  }
}

// Returns true if `one` and `other` are the same value of `setting`: for numbers, "5" and "5.0" are.
export function isSame(setting, one, other) {
  const number = setting.type === 'number' ? parseDecimal(one) : null;
  return one === other || (number !== null && number === parseDecimal(other));
}
