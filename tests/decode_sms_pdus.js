// Reads "address texthex pdu" lines and decodes each PDU with node-pdu: it must
// be an SMS-SUBMIT without service centre to that international address, in
// UCS-2, carrying one character per byte of the text (ISO 8859-1).
const pdu = require('node-pdu');
const { DCS, SCAType } = pdu.utils;
const lines = require('fs').readFileSync(0, 'latin1').split('\n').filter(Boolean);
let passed = 0, failed = 0;
for (const line of lines) {
    const [address, hex, text] = line.split(' ');
    const want = Buffer.from(hex, 'hex').toString('latin1');
    let why = '';
    try {
        const p = pdu.parse(text);
        if (!(p instanceof pdu.Submit)) why = 'not an SMS-SUBMIT';
        else if (p.serviceCenterAddress.phone !== null) why = `service centre ${p.serviceCenterAddress.phone}`;
        else if (p.address.phone !== address) why = `number ${p.address.phone}`;
        else if (p.address.type.type !== SCAType.TYPE_INTERNATIONAL || p.address.type.plan !== SCAType.PLAN_ISDN)
            why = 'number not international ISDN';
        else if (p.dataCodingScheme.textAlphabet !== DCS.ALPHABET_UCS2) why = 'alphabet not UCS-2';
        else if (p.data.getText() !== want) why = `text ${JSON.stringify(p.data.getText())}`;
        else if (p.data.size !== 2 * want.length) why = `user data length ${p.data.size}`;
    } catch (e) {
        why = `does not decode: ${e.message}`;
    }
    if (why) console.log(`FAIL ${line}: ${why}`);
    why ? failed++ : passed++;
}
console.log(`${passed} passed, ${failed} failed`);
process.exit(failed > 0 || passed === 0 ? 1 : 0);
