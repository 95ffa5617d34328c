// One field of the form: label, native control, help, and what is wrong with its value.

import { isSame, reasonAgainst } from './check.js';
import { create } from './element.js';

function createControl(setting, attributes) {
  switch (setting.type) {
    case 'number':
      return create('input', { ...attributes, type: 'number', inputmode: 'decimal', min: setting.minimum,
        max: setting.maximum, step: setting.step ?? 'any' });
    case 'choice':
      return create('select', attributes,
        ...setting.choices.map(({ value, label }) => create('option', { value }, String(label ?? value))));
    case 'switch':
      return create('input', { ...attributes, type: 'checkbox', role: 'switch' });
    default:
      return create('input', { ...attributes, type: 'text' });
  }
}

function withUnit(setting, text) {
  return setting.unit === undefined ? text : `${text} ${setting.unit}`;
}

function describeRange(least, most, unit) {
  if (least === undefined && most === undefined) {
    return '';
  }
  if (least === undefined) {
    return `Up to ${most}${unit}`;
  }
  return most === undefined ? `At least ${least}${unit}` : `${least} to ${most}${unit}`;
}

function describeLimits(setting) {
  if (setting.type === 'number') {
    const range = describeRange(setting.minimum, setting.maximum, withUnit(setting, ''));
    const step = setting.step === undefined ? '' : `${range === '' ? 'I' : ', i'}n steps of ${setting.step}`;
    return range + step === '' ? '' : `${range}${step}.`;
  }
  const range = describeRange(setting.minimumLength || undefined, setting.maximumLength, ' characters');
  return setting.type === 'text' && range !== '' ? `${range}.` : '';
}

// Returns how a value of `setting` is shown to the user.
function shown(setting, value) {
  switch (setting.type) {
    case 'number':
      return withUnit(setting, value);
    case 'choice':
      return String(setting.choices.find((choice) => choice.value === value)?.label ?? value);
    case 'switch':
      return value === 'on' ? 'On' : 'Off';
    default:
      return value === '' ? '(empty)' : value;
  }
}

export class Field {
  // `id` must be unique in the page. Controls have no `name`: one such as "action" would hide that of the form.
  constructor(setting, id) {
    this.setting = setting;
    this.control = createControl(setting, { id, 'data-control': setting.name, 'aria-invalid': 'false',
      'aria-describedby': `${id}-hint ${id}-now ${id}-error` });
    this.error = create('p', { id: `${id}-error`, class: 'error' });
    this.now = create('p', { id: `${id}-now`, class: 'hint' });
    const label = create('label', { for: id }, String(setting.label ?? setting.name));
    const notes = [create('p', { id: `${id}-hint`, class: 'hint' },
      [setting.help, describeLimits(setting)].filter(Boolean).join(' ')), this.now, this.error];
    if (setting.type === 'switch') {
      this.element = create('div', { class: 'field check' }, this.control, create('div', {}, label, ...notes));
    } else if (setting.unit === undefined) {
      this.element = create('div', { class: 'field' }, label, this.control, ...notes);
    } else {
      const unit = create('span', { class: 'unit', 'aria-hidden': 'true' }, setting.unit);
      this.element = create('div', { class: 'field' }, label,
        create('div', { class: 'with-unit' }, this.control, unit), ...notes);
    }
    this.control.addEventListener('input', () => this.check());
    this.value = setting.value;
  }

  get value() {
    return this.setting.type === 'switch' ? (this.control.checked ? 'on' : 'off') : this.control.value;
  }

  set value(text) {
    if (this.setting.type === 'switch') {
      this.control.checked = text === 'on';
    } else {
      this.control.value = text;
    }
    this.check();
  }

  // Shows what is wrong with the value, and the value in use if it is another one. Returns true if nothing is wrong.
  check() {
    const isInUse = isSame(this.setting, this.value, this.setting.value);
    this.now.textContent = isInUse ? '' : `In use: ${shown(this.setting, this.setting.value)}`;
    const reason = reasonAgainst(this.setting, this.value);
    this.complain(reason);
    return reason === '';
  }

  complain(reason) {
    this.error.textContent = reason;
    this.control.setAttribute('aria-invalid', String(reason !== ''));
  }
}
