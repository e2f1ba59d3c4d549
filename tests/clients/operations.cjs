// The driver for the clients of npm: see toolkits.
//
//   node operations.cjs soap|strong-soap FOLDER    FOLDER has the node_modules

const { join } = require('node:path');
const { createInterface } = require('node:readline');

const [name, folder] = process.argv.slice(2);
const { CLIENT_USER: user, CLIENT_WSDL: wsdl } = process.env;
const library = require(join(folder, 'node_modules', name));
const soap = library.soap ?? library;

function texts(value) {
    if (value === null || typeof value !== 'object') {
        return value === undefined || value === null ? [] : [String(value)];
    }
    return Object.entries(value).flatMap(([key, item]) => (key === '$attributes' || key === 'attributes' ? [] : texts(item)));
}

async function main() {
    const client = await new Promise((resolve, reject) =>
        soap.createClient(wsdl, {}, (error, made) => (error ? reject(error) : resolve(made))));
    if (user) {
        client.setSecurity(new soap.BasicAuthSecurity(user, user));
    }
    for await (const line of createInterface({ input: process.stdin })) {
        const [, operation, args] = line.split('\t');
        const answer = await new Promise((resolve) =>
            client[operation](JSON.parse(args), (error, result) => resolve(error ? [`FAULT ${error.message}`] : texts(result))));
        console.log(`${operation}\t${answer.join(' ').replaceAll('\n', ' ')}`);
    }
}

main();
