// Puts a compressed copy beside each file of the built page: FILE.gz, the same bytes for the same
// FILE, so that the server has nothing to compress while it answers.
// node compress.mjs DIR
import { readFileSync, readdirSync, statSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { gzipSync } from 'node:zlib';

function filesBelow(directory) {
  return readdirSync(directory).flatMap((name) => {
    const path = join(directory, name);
    return statSync(path).isDirectory() ? filesBelow(path) : [path];
  });
}

let total = 0;
for (const path of filesBelow(process.argv[2]).filter((file) => !file.endsWith('.gz'))) {
  const compressed = gzipSync(readFileSync(path), { level: 9 });
  writeFileSync(`${path}.gz`, compressed);
  total += compressed.length;
}
console.log(`page: ${(total / 1000).toFixed(1)} kB compressed`);
