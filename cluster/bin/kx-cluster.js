#!/usr/bin/env node
import { main } from '../lib/main.js';
import { watchOutput } from '../lib/output.js';

watchOutput();
process.exitCode = await main(process.argv.slice(2));
