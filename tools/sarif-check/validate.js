#!/usr/bin/env node
// Validates SARIF files against the published SARIF 2.1.0 JSON schema (the
// final "rtm.5" text, a draft-04 schema), as shipped in an npm package.
// Usage: node validate.js FILE...   Exit 0 when every file is valid.
'use strict';
const fs = require('fs');
const path = require('path');
const Ajv = require('ajv-draft-04');
const addFormats = require('ajv-formats');

const schemaPath = path.join(__dirname, 'node_modules', '@microsoft', 'jest-sarif', 'lib', 'schemas',
                             'sarif-2.1.0-rtm.5.json');
const schema = JSON.parse(fs.readFileSync(schemaPath, 'utf8'));
// The schema's language pattern has a stray "]", which only non-Unicode regular
// expressions accept.
const ajv = new Ajv({ allErrors: true, strict: false, unicodeRegExp: false });
addFormats(ajv);
const validate = ajv.compile(schema);

let bad = 0;
for (const file of process.argv.slice(2)) {
    let log;
    try {
        log = JSON.parse(fs.readFileSync(file, 'utf8'));
    } catch (e) {
        console.log(`${file}: not JSON: ${e.message}`);
        bad++;
        continue;
    }
    if (validate(log)) {
        console.log(`${file}: valid SARIF ${log.version}`);
    } else {
        bad++;
        for (const err of validate.errors) console.log(`${file}: ${err.instancePath || '/'} ${err.message}`);
    }
}
process.exit(bad ? 1 : 0);
