// Errors that Redis itself answers: its memory or disk is full (OOM, MISCONF), it has become a copy of another server (READONLY), a
// user's rights are gone (NOPERM). That is a state of the server, and it may pass.

export const isRefusal = (error) => error.name === 'ReplyError';

/** What Redis said. Of a transaction the command that was refused tells more than its end does. */
export const refusalText = (error) => (error.previousErrors?.[0] ?? error).message;
