// A walk with net-snmp for node: walk.js PORT COMMUNITY ROOT
//
// Prints a line a value: OID, type, value; octets are lower-case hex.
'use strict';
const snmp = require('net-snmp');

const [port, community, root] = process.argv.slice(2);
const types = {
  [snmp.ObjectType.Integer]: 'INTEGER',
  [snmp.ObjectType.Gauge]: 'Gauge32',
  [snmp.ObjectType.TimeTicks]: 'TimeTicks',
  [snmp.ObjectType.OctetString]: 'OCTETS',
};
const session = snmp.createSession('127.0.0.1', community,
  { port: Number(port), version: snmp.Version2c, timeout: 10000, retries: 0 });

function print(varbinds) {
  for (const varbind of varbinds) {
    const octets = varbind.type === snmp.ObjectType.OctetString;
    console.log(`.${varbind.oid} ${types[varbind.type]} ${octets ? varbind.value.toString('hex') : varbind.value}`);
  }
}

session.subtree(root.replace(/^\./, ''), 20, print, (error) => {
  if (error) {
    console.error(error.message);
    process.exitCode = 1;
  }
  session.close();
});
