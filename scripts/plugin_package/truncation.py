"""A library file read past its end: the readers' one way of reporting it."""

import struct


def parse_whole(parse, data, error, kind):
    """parse(data), with a read past the end of data raised as error("truncated <kind> file")."""
    try:
        return parse(data)
    except struct.error as e:
        raise error("truncated %s file (%s)" % (kind, e))
