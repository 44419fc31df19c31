#!/usr/bin/env python3
"""Makes a smaller auction document: the first of every list, in its order.

usage: cut_auction.py DOCUMENT.gz TARGET PERCENT

All of it is the document itself, byte for byte.
"""
import gzip
import pathlib
import sys
import xml.etree.ElementTree

LISTS = ("regions/*", "categories", "catgraph", "people", "open_auctions",
         "closed_auctions")


def cut(source, target, percent):
    text = gzip.open(source).read()
    if percent < 100:
        site = xml.etree.ElementTree.fromstring(text)
        for name in LISTS:
            for entries in site.findall(name):
                del entries[max(1, len(entries) * percent // 100):]
        text = xml.etree.ElementTree.tostring(site)
    pathlib.Path(target).write_bytes(text)


if __name__ == "__main__":
    cut(sys.argv[1], sys.argv[2], int(sys.argv[3]))
