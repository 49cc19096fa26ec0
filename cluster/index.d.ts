import type { Browser, StartOptions } from 'kxtcp64';

/** What a user can put right: the message says what was wrong, where, and what would be right. */
export declare class Mistake extends Error {
  readonly name: 'Mistake';
  readonly exitCode: number;
}

export interface ConnectOptions {
  /** 127.0.0.1 without it. */
  host?: string;
  /** 6379 without it. */
  port?: number;
  username?: string;
  password?: string;
  /** TLS, with these options of Node's `tls.connect()`. */
  tls?: { ca?: string; cert?: string; key?: string };
  /** What all names in Redis begin with; "kx" without it. */
  prefix?: string;
  /** The group of jobs; "macros" without it. */
  group?: string;
}

export interface SubmitOptions {
  /** The macro's text. */
  macro: string;
  /** The name of the jobs, for people. */
  macroName?: string;
  /** The name under which results are asked for; one is made up without it. */
  batch?: string;
  /** The variables that tell a row from another; without it the macro and all values. A row that is there already makes no second job. */
  key?: string[];
  /** 1 is played first; 0, which is the default, before all that have one. */
  priority?: number;
  /** Milliseconds for each single answer of the browser; 30,000 without it. */
  timeout?: number;
  /** Milliseconds for the whole job; then its browser is ended. 300,000 without it. */
  deadline?: number;
  /** Further tries after a failed connection, a dead browser or a deadline; 2 without it. */
  retries?: number;
  /** Milliseconds before the second try, and twice as long before each further one; 1,000 without it. */
  backoff?: number;
  /** Tries again also when the macro itself fails. */
  retryMacro?: boolean;
  /** Redis forgets jobs and results so many days after they are done; without it they stay. */
  keepDays?: number;
  onProgress?(sum: Submitted): void;
}

export interface Submitted {
  batch: string;
  rows: number;
  /** Rows that became new jobs. */
  added: number;
  /** Rows whose jobs were there already. */
  known: number;
}

export type Outcome =
  | 'ok'
  | 'macro failed'
  | 'connection failed'
  /** Three workers died while they played it. */
  | 'set aside'
  | 'waiting'
  | 'playing'
  | 'waiting for another try'
  | 'not submitted, or removed since';

/** One row of a batch. The members are those of `kx play --json`, and some more. */
export interface Result {
  /** The row's number in its table, from 1. */
  run: number;
  key: string;
  batch: string;
  macro: string | null;
  variables: Record<string, string>;
  outcome: Outcome;
  /** How often the job was begun. More than once means that its effects may have happened more than once. */
  attempts: number;
  worker: string | null;
  context: number | null;
  profile: string | null;
  /** ISO 8601, by the worker's clock. */
  started: string | null;
  ended: string | null;
  seconds: number | null;
  call: string | null;
  result: number | null;
  number: number | null;
  text: string;
  /** Why it failed: a row of the catalogue of errors, or one of the cluster's own. */
  failure: { id: string; cause?: string; remedy?: string; page?: string } | null;
  /** null when they are in `file`, and no shared folder was named. */
  extracts: string[] | null;
  extractCount?: number;
  performance: { name: string; value: string }[] | null;
  profiler: string | null;
  /** Below the shared folder. */
  screenshot: string | null;
  file: string | null;
}

/** A report that came when another worker had the job already. */
export type LateReport = Pick<Result, 'key' | 'batch' | 'run' | 'outcome' | 'worker' | 'text'> & { attempt: number };

export interface WorkerOptions {
  /** Starts a browser: `(options) => Browser.start(options)` of kxtcp64. */
  start(options: StartOptions): Promise<Pick<Browser, 'play' | 'screenshot' | 'exit' | 'processId'>>;
  /** Browsers that play at once; 1 without it. */
  contexts?: number;
  /** For the start; "{n}" in profile and userDataDir becomes the context's number. */
  browserOptions?: StartOptions;
  /** A browser is started afresh after so many jobs, or when it has more megabytes. */
  limits?: { jobs?: number; megabytes?: number; sizeOf?(processId: number): number };
  /** A folder for pictures and large results. */
  shared?: string;
  /** "never" without it. */
  screenshot?: 'never' | 'failure' | 'always';
  /** Milliseconds after which a worker that is not heard of has lost its jobs; 30,000 without it. */
  lease?: number;
  /** The bytes of a record above which it goes to the shared folder; 65,536 without it. */
  largestRecord?: number;
  /** Milliseconds before a second try of what has failed: a start of a browser, a command that Redis refuses. Longer before each
   * further one; 1,000 without it. */
  pause?: number;
  name?: string;
  tell?(text: string, kind?: 'job'): void;
}

export interface ClusterWorker {
  /** Plays jobs until it is stopped. Rejects when none of its browsers can be started. */
  run(): Promise<void>;
  /** Takes no more, ends what it has, exits its browsers; then `run()` ends. */
  stop(): void;
}

/** A group of jobs in a Redis. */
export declare class Cluster {
  private constructor();
  static connect(options?: ConnectOptions): Promise<Cluster>;
  /** One job for each row. Rows are taken as they come; a million are never in memory at once. */
  submit(rows: Iterable<Record<string, string>> | AsyncIterable<Record<string, string>>, options: SubmitOptions): Promise<Submitted>;
  /** The rows of a batch in their order; without a name of the newest batch. */
  results(batch?: string, options?: { shared?: string; onlyFailed?: boolean }): AsyncGenerator<Result>;
  /** Gives the failed rows another try, and tells how many they are. */
  retryFailed(batch?: string): Promise<number>;
  counts(): Promise<Record<string, number>>;
  workers(): Promise<{ name: string; silentSeconds: number; played?: number; contexts?: { state: string; profile: string | null }[] }[]>;
  /** The newest first. */
  lateReports(limit?: number): Promise<LateReport[]>;
  worker(options: WorkerOptions): ClusterWorker;
  close(): Promise<void>;
}
