/** What a call of the library gives, in `KxError.result`. A start that could not launch gives Windows' number, above 0. */
export declare const Result: {
  readonly OK: 0;
  readonly FAILED: -1;
  readonly BUFFER_TOO_SMALL: -2;
  readonly TIMEOUT: -3;
  readonly NO_CONTEXT: -5;
};

/**
 * Numbers of the library's own, in `KxError.number`. Others are the extension's or Windows', made negative; some of these
 * have the values below: the text tells.
 */
export declare const ErrorNumber: {
  readonly NONE: 0;
  readonly SUCCESS: 1;
  readonly GENERAL: -1;
  readonly TIMEOUT: -3;
  readonly PROFILE_IN_USE: -4;
};

/** A call of the library that failed, or that the browser answered with an error. */
export declare class KxError extends Error {
  private constructor();
  readonly name: 'KxError';
  /** The library's function, `kx_Play` for example. */
  readonly call: string;
  /** What it gave; 0 when the browser answered, and its answer was an error. */
  readonly result: number;
  /** The context's error number; 0 when the call was refused without one. */
  readonly number: number;
  /** The context's error text. */
  readonly text: string;
  /** Of a play: what it left all the same. */
  readonly left?: PlayResult;
}

/** What a play left. */
export interface PlayResult {
  /** In their order, empty ones kept. A single empty one cannot be told from none: the list is then empty. */
  extracts: string[];
  /** Names and values, in their order. */
  performance: [name: string, value: string][];
  /** Empty without the option `profiler`. */
  profilerData: string;
}

/** Milliseconds, above 0. They are rounded up to whole seconds. `Infinity` waits without a limit. */
export type Milliseconds = number;

/** Firefox; its profile, without which the library goes by the one that profiles.ini marks as the default. */
export interface Firefox {
  browser?: 'fx';
  profile?: string;
  userDataDir?: undefined;
}

/** Chrome; its user data directory, without which Chrome uses its own. */
export interface Chrome {
  browser: 'cr';
  userDataDir?: string;
  profile?: undefined;
}

/** How a start comes to its browser: it launches one unless one is running, or only looks for one. */
export type Way =
  | {
      /** The browser's program. Without it the library looks in the usual place. */
      path?: string;
      attach?: false;
      runner?: false;
    }
  | {
      /** Only to a browser that is running: none is launched, and `close()` leaves it running. */
      attach: true;
      path?: undefined;
      runner?: boolean;
    }
  | {
      /** The host has started the browser with the arguments of `commandLine()`. Needs profile or userDataDir. */
      runner: true;
      path?: undefined;
      attach?: boolean;
    };

export type StartOptions = (Firefox | Chrome) &
  Way & {
    /** Plays ask for profiler data. */
    profiler?: boolean;
    /** Asks the extension for a new browser window. */
    newWindow?: boolean;
    /** 60,000 without it. It also sets the number of attempts; therefore it has to have an end with `runner`. */
    timeout?: Milliseconds;
    /** The path of KXTCP64.dll. Without it: that in the environment variable KXTCP64_DLL, or the one in this package. */
    dll?: string;
  };

export interface RequestOptions {
  /** For each single write and read. 30,000 without it. */
  timeout?: Milliseconds;
}

export interface PlayOptions extends RequestOptions {
  /** Variables for this play. */
  variables?: Record<string, string>;
}

export interface ScreenshotOptions extends RequestOptions {
  /** The whole browser, which is the default, or the web page. */
  of?: 'browser' | 'page';
}

export interface ExitOptions {
  /** 10,000 without it. */
  timeout?: Milliseconds;
}

/**
 * A browser that macros are played in. Its calls wait for one another and run on threads of Node's pool, so that the
 * event loop goes on. Every promise is rejected with a `KxError` when the library's call fails or the browser answers
 * with an error, and with a `TypeError` or `RangeError` when an argument cannot be right.
 */
export declare class Browser {
  private constructor();

  /** Starts a browser, or attaches to one. */
  static start(options?: StartOptions): Promise<Browser>;

  /** Starts a browser, calls the function with it, and closes it whatever happens. */
  static use<T>(options: StartOptions, action: (browser: Browser) => T | Promise<T>): Promise<T>;

  /** The process that the start launched; 0 if it attached to one. */
  readonly processId: number;

  /** Sets a variable for the next play. */
  setVariable(name: string, value: string): Promise<void>;

  /** Plays a macro. */
  play(macro: string, options?: PlayOptions): Promise<PlayResult>;

  /** Shows a message to the user. */
  show(message: string, options?: RequestOptions): Promise<void>;

  /** Has the browser save a picture of itself; the path starts from this process's folder. */
  screenshot(path: string, options?: ScreenshotOptions): Promise<void>;

  /** Ends the browser. After that only this and `close()` can be called, and do nothing. */
  exit(options?: ExitOptions): Promise<void>;

  /** Ends the browser as `exit()` does, but leaves one running that was started with `attach`. */
  close(options?: ExitOptions): Promise<void>;
}

// Where the compiler knows `await using`, a browser can be used with it.
declare global {
  interface SymbolConstructor {
    readonly asyncDispose: unique symbol;
  }
}
export interface Browser {
  [Symbol.asyncDispose](): Promise<void>;
}

export type CommandLineOptions = (
  | { browser?: 'fx'; profile: string; userDataDir?: undefined; startPage?: undefined }
  | {
      browser: 'cr';
      userDataDir: string;
      profile?: undefined;
      /** A start page of the host's own. Without it one is written to the folder that TEMP names. */
      startPage?: string;
    }
) & { profiler?: boolean; dll?: string };

/** The arguments, without the program, with which a host starts a browser that it then attaches to with `runner`. */
export declare function commandLine(options: CommandLineOptions): string;
