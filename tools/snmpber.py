"""SNMP messages in BER, enough for the robustness runs: v2c GET, GETNEXT, GETBULK and SET
requests built from OIDs and typed values, and answers read back strictly (any
inconsistency raises Malformed). Only the standard library."""

INTEGER, OCTETS, NULL, OID, SEQUENCE = 0x02, 0x04, 0x05, 0x06, 0x30
IPADDRESS, COUNTER, GAUGE, TIMETICKS, COUNTER64 = 0x40, 0x41, 0x42, 0x43, 0x46
NO_SUCH_OBJECT, NO_SUCH_INSTANCE, END_OF_MIB_VIEW = 0x80, 0x81, 0x82
GET, GETNEXT, RESPONSE, SET, GETBULK, REPORT = 0xA0, 0xA1, 0xA2, 0xA3, 0xA5, 0xA8
TOO_BIG = 1


class Malformed(Exception):
    pass


def tlv(tag, body):
    n = len(body)
    if n < 0x80:
        return bytes([tag, n]) + body
    size = n.to_bytes((n.bit_length() + 7) // 8, "big")
    return bytes([tag, 0x80 | len(size)]) + size + body


def integer(value, tag=INTEGER):
    return tlv(tag, value.to_bytes(value.bit_length() // 8 + 1, "big", signed=True))


def unsigned(value, tag):
    return tlv(tag, value.to_bytes(value.bit_length() // 8 + 1, "big"))


def oid_bytes(subids):
    out = bytearray([subids[0] * 40 + subids[1]])
    for s in subids[2:]:
        chunk = [s & 0x7F]
        s >>= 7
        while s:
            chunk.append(0x80 | (s & 0x7F))
            s >>= 7
        out += bytes(reversed(chunk))
    return tlv(OID, bytes(out))


def read_tlv(buf, pos, end):
    """(tag, body start, body end) of the element at pos; Malformed unless it fits."""
    if pos + 2 > end:
        raise Malformed("truncated header")
    tag, first = buf[pos], buf[pos + 1]
    pos += 2
    if first & 0x80:
        count = first & 0x7F
        if count == 0 or count > 4 or pos + count > end:
            raise Malformed("bad length")
        length = int.from_bytes(buf[pos:pos + count], "big")
        pos += count
    else:
        length = first
    if pos + length > end:
        raise Malformed("element past its container")
    return tag, pos, pos + length


def read_int(buf, start, end):
    if start == end or end - start > 9:
        raise Malformed("bad integer")
    return int.from_bytes(buf[start:end], "big", signed=True)


def read_oid(buf, start, end):
    if start == end:
        raise Malformed("empty OID")
    first = buf[start]
    subids, value = [first // 40 if first < 80 else 2, first % 40 if first < 80 else first - 80], 0
    for b in buf[start + 1:end]:
        value = (value << 7) | (b & 0x7F)
        if not b & 0x80:
            subids.append(value)
            value = 0
    if buf[end - 1] & 0x80:
        raise Malformed("unfinished sub-identifier")
    return tuple(subids)


def message(community, command, reqid, field1, field2, varbinds, version=1):
    """A v2c message (version 0: SNMPv1). reqid is always four octets, so that a template can
    be re-numbered."""
    body = b"".join(tlv(SEQUENCE, oid_bytes(name) + value) for name, value in varbinds)
    pdu = (tlv(INTEGER, reqid.to_bytes(4, "big")) + integer(field1) + integer(field2) +
           tlv(SEQUENCE, body))
    return tlv(SEQUENCE, integer(version) + tlv(OCTETS, community) + tlv(command, pdu))


def parse_message(buf):
    """(command, reqid, errstat/non-repeaters, errindex/max-repetitions, [(oid, tag, value)]).

    SNMPv1 and v2c messages are read to the last value; a request the storm mutated may be
    answered in either."""
    tag, start, end = read_tlv(buf, 0, len(buf))
    if tag != SEQUENCE or end != len(buf):
        raise Malformed("not one message")
    tag, s, e = read_tlv(buf, start, end)
    if tag != INTEGER or read_int(buf, s, e) not in (0, 1, 3):
        raise Malformed("not SNMPv1, v2c or v3")
    if read_int(buf, s, e) == 3:
        # A mutated request may turn into SNMPv3: its answer is a REPORT whose PDU is
        # encrypted or scoped; it is checked as far as the message wrapper goes.
        while e < end:
            e = read_tlv(buf, e, end)[2]
        return REPORT, 0, 0, 0, []
    tag, s, e = read_tlv(buf, e, end)
    if tag != OCTETS:
        raise Malformed("no community")
    command, s, pdu_end = read_tlv(buf, e, end)
    if pdu_end != end:
        raise Malformed("trailing octets")
    fields = []
    for _ in range(3):
        tag, s, e = read_tlv(buf, s, pdu_end)
        if tag != INTEGER:
            raise Malformed("bad PDU header")
        fields.append(read_int(buf, s, e))
        s = e
    tag, s, list_end = read_tlv(buf, s, pdu_end)
    if tag != SEQUENCE or list_end != pdu_end:
        raise Malformed("bad varbind list")
    varbinds = []
    while s < list_end:
        tag, vs, ve = read_tlv(buf, s, list_end)
        ntag, ns, ne = read_tlv(buf, vs, ve)
        vtag, values, valuee = read_tlv(buf, ne, ve)
        if tag != SEQUENCE or ntag != OID or valuee != ve:
            raise Malformed("bad varbind")
        if vtag in (INTEGER, COUNTER, GAUGE, TIMETICKS, COUNTER64):
            read_int(buf, values, valuee)
        elif vtag == OID:
            read_oid(buf, values, valuee)
        elif vtag in (NULL, NO_SUCH_OBJECT, NO_SUCH_INSTANCE, END_OF_MIB_VIEW):
            if valuee != values:
                raise Malformed("exception with a value")
        elif vtag & 0x20:
            raise Malformed("constructed value")
        varbinds.append((read_oid(buf, ns, ne), vtag, bytes(buf[values:valuee])))
        s = ve
    return command, fields[0], fields[1], fields[2], varbinds
