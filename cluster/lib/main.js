// The command line: finds the verb, reads its options, and turns a mistake into a sentence and an exit code.
import { parseArgs } from 'node:util';
import { readFileSync } from 'node:fs';

import { connect } from './connection.js';
import { Group } from './group.js';
import { Exit, Mistake } from './mistake.js';
import { outputMistake } from './output.js';
import { isRefusal, refusalText } from './refusal.js';
import { REDIS_OPTIONS, redisSettings } from './settings.js';
import { onOneLine } from './terminal.js';
import * as page from './verbs/page.js';
import * as results from './verbs/results.js';
import * as status from './verbs/status.js';
import * as stop from './verbs/stop.js';
import * as submit from './verbs/submit.js';
import * as work from './verbs/work.js';

const verbs = { submit, work, results, status, stop, page };

const CONNECTION_HELP = `
The connection, for every verb; in brackets the environment's name for it:
  --redis HOST:PORT       where Redis is; 127.0.0.1:6379 without it [KX_CLUSTER_REDIS]
  --password-file FILE    its first line is the password [KX_CLUSTER_PASSWORD_FILE, or the password itself in KX_CLUSTER_PASSWORD]
  --user NAME             the user, where Redis has several [KX_CLUSTER_USER]
  --tls                   encrypts [KX_CLUSTER_TLS=1]
  --ca FILE               the certificate of the authority that signed the server's; means --tls [KX_CLUSTER_CA]
  --prefix NAME           what all names in Redis begin with; kx without it [KX_CLUSTER_PREFIX]
  --group NAME            the group of jobs; macros without it
`;

const EXIT_HELP = `
Exit codes: 0 all went well; 1 rows failed; 2 wrong use; 3 no connection to Redis, or no browser; 4 the program cannot do its
work; 130 Ctrl-C.
`;

function usage() {
  return `kx-cluster VERB [OPTION...]: plays macros on many machines\n\n${
    Object.entries(verbs).map(([name, { summary }]) => `  ${name.padEnd(9)} ${summary}`).join('\n')
  }\n\n\`kx-cluster VERB --help\` tells more.\n${CONNECTION_HELP}${EXIT_HELP}`;
}

// Node's own sentences name the option; they end in advice for programmers.
function parsed(args, verb) {
  try {
    return parseArgs({
      args,
      options: { help: { type: 'boolean', short: 'h' }, group: { type: 'string' }, ...REDIS_OPTIONS, ...verb.options },
      allowPositionals: true,
    });
  } catch (error) {
    if (args.some((argument) => /^--password(=|$)/.test(argument))) {
      throw new Mistake('There is no option --password: every user of this machine could read it. Put the password into a file ' +
        'and name that with --password-file, or put it into KX_CLUSTER_PASSWORD.');
    }
    throw new Mistake(`${error.message.split('. ')[0].replace(/\.$/, '')}. --help tells the options.`);
  }
}

async function run(args) {
  const [name, ...rest] = args;
  if (name === undefined || name === 'help' || name === '--help' || name === '-h') {
    process.stdout.write(usage());
    return name === undefined ? Exit.USE : Exit.OK;
  }
  if (name === '--version') {
    process.stdout.write(`${JSON.parse(readFileSync(new URL('../package.json', import.meta.url), 'utf8')).version}\n`);
    return Exit.OK;
  }
  const verb = Object.hasOwn(verbs, name) ? verbs[name] : undefined;
  if (verb === undefined) {
    throw new Mistake(`There is no verb "${name}". There are: ${Object.keys(verbs).join(', ')}.`);
  }
  const { values, positionals } = parsed(rest, verb);
  if (values.help) {
    process.stdout.write(`${verb.help}${CONNECTION_HELP}`);
    return Exit.OK;
  }
  const prepared = await verb.prepare(values, positionals);
  const settings = redisSettings(values);
  const { redis, warnings } = await connect(settings);
  let group = null;
  try {
    for (const warning of warnings) process.stderr.write(`kx-cluster: ${warning}\n`);
    group = new Group(redis, { prefix: settings.prefix, group: values.group });
    return (await verb.run(group, prepared)) ?? Exit.OK;
  } finally {
    await group?.close().catch(() => {});
    redis.disconnect();
  }
}

// What went wrong, as a sentence and an exit code.
function mistakeOf(error) {
  if (error instanceof Mistake) return error;
  if (isRefusal(error)) return new Mistake(`Redis refuses: ${refusalText(error)}`, Exit.PROGRAM);
  if (error.syscall === 'write' && error.path === undefined) return outputMistake(error);
  if (error.syscall !== undefined) return new Mistake(error.message, Exit.PROGRAM);
  return null;
}

/** Runs a command line, and gives the exit code. */
export async function main(args) {
  try {
    return await run(args);
  } catch (error) {
    const mistake = mistakeOf(error);
    // Whoever mends it wants to know where.
    process.stderr.write(mistake ? `kx-cluster: ${onOneLine(mistake.message)}\n` : `kx-cluster: This should not have happened. ${error.stack}\n`);
    return mistake?.exitCode ?? Exit.PROGRAM;
  }
}
