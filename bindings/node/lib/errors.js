// The one error of a call that failed, and the names of the numbers in it.

import { numbers } from './interface.js';

export const Result = numbers('result', 'KX_');
export const ErrorNumber = numbers('number', 'KX_ERROR_');

export class KxError extends Error {
  constructor(call, result, number, text, remark = '') {
    super(`${call} failed: result ${result}, error ${number}: ${text}${remark}`);
    this.name = 'KxError';
    this.call = call;
    this.result = result;
    this.number = number;
    this.text = text;
  }
}
