// Prints what arrives at a UDP port, with net-snmp for node: trap_receiver.js PORT
//
// One line a notification: "trap" or "inform", then a tab and OID=VALUE for each varbind. Integers are decimal, OIDs
// start with a dot, octets are lower-case hex. The first line is "ready".
'use strict';
const snmp = require('net-snmp');

function text(varbind) {
  if (varbind.type === snmp.ObjectType.OID) return '.' + varbind.value;
  if (Buffer.isBuffer(varbind.value)) return varbind.value.toString('hex');
  return String(varbind.value);
}

function heard(error, notification) {
  if (error) {
    console.log('error\t' + error.message);
    return;
  }
  const pdu = notification.pdu;
  const kind = pdu.type === snmp.PduType.InformRequest ? 'inform' : 'trap';
  console.log([kind, ...pdu.varbinds.map((v) => '.' + v.oid + '=' + text(v))].join('\t'));
}

const receiver = snmp.createReceiver({ port: Number(process.argv[2]), address: '127.0.0.1' }, heard);
receiver.getAuthorizer().addCommunity('public');
receiver.getAuthorizer().addUser({
  name: 'operator',
  level: snmp.SecurityLevel.authPriv,
  authProtocol: snmp.AuthProtocols.sha256,
  authKey: 'operator-auth-key',
  privProtocol: snmp.PrivProtocols.aes,
  privKey: 'operator-priv-key',
});
console.log('ready');
