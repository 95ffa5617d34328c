// Decimal numbers as exact multiples of 10^-7, with the limits that the application has: 11 digits, 7 decimals.

const places = 7;
export const greatest = 10n ** 18n - 1n;

// Returns the number in `text` as a BigInt in units of 10^-7, or null if `text` is not a number, has more than 7
// decimals, or is undefined.
export function parseDecimal(text) {
  const match = /^(-?)(\d*)(?:\.(\d+))?$/.exec(text ?? '');
  if (match === null || (match[2] === '' && match[3] === undefined)) {
    return null;
  }
  const fraction = (match[3] ?? '').replace(/0+$/, '');
  if (fraction.length > places) {
    return null;
  }
  const units = BigInt(match[2] + fraction.padEnd(places, '0'));
  return match[1] === '-' ? -units : units;
}

// Returns true if `number` is a whole number of steps from `minimum`, or from 0 if there is no minimum. Each is a
// result of parseDecimal; without a step every number is.
export function isOnStep(number, minimum, step) {
  return step === null || step <= 0n || (number - (minimum ?? 0n)) % step === 0n;
}
