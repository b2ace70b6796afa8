#!/usr/bin/env python3
"""A web server of the tests' own that serves the files of a folder with range requests and
injects the faults a remote store meets. The first segments of a path choose the fault:

  /ok/PATH                       the file, as a good server sends it
  /delay/MS/PATH                 the file, each answer MS milliseconds late
  /status/CODE/N/PATH            the first N requests of PATH answer CODE, then the file
  /drop/N/PATH                   the first N requests of PATH lose their connection unanswered
  /ignore-range/PATH             the whole file with 200, whatever Range asks for
  /truncate/PATH                 the right headers, then half the body and a closed connection
  /wrong-range/PATH              206 with a Content-Range one byte off
  /slow/PATH                     the body at one byte every 100 ms
  /count/TAG/PATH                the file, as a good server sends it, each request recorded under TAG

  /stats                         {"most_delayed_at_once": N}: the most /delay requests in progress
                                 at one time since the start or the last /stats/reset
  /stats/requests/TAG            the requests recorded under TAG: [{"method", "path", "range", "bytes"}],
                                 "range" as the Range header asked ("" for none), "bytes" the body sent

Counts are per fault and path, so every test that uses its own prefix sees its own faults.
"""
import argparse
import collections
import http.server
import json
import os
import re
import socketserver
import threading
import time

seen = collections.Counter()
seen_lock = threading.Lock()
delayed = {"now": 0, "most": 0}
recorded = collections.defaultdict(list)


def count(key):
    with seen_lock:
        seen[key] += 1
        return seen[key]


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    root = "."

    def log_message(self, *args):
        pass

    def do_HEAD(self):
        self.answer(head=True)

    def do_GET(self):
        self.answer(head=False)

    def answer(self, head):
        parts = self.path.lstrip("/").split("/")
        fault = parts[0]
        if fault == "stats":
            with seen_lock:
                if parts[1:2] == ["requests"] and len(parts) == 3:
                    return self.plain(200, json.dumps(recorded[parts[2]]))
                if parts[1:] == ["reset"]:
                    delayed["most"] = 0
                return self.plain(200, '{"most_delayed_at_once": %d}' % delayed["most"])
        args = []
        arity = {"ok": 0, "delay": 1, "status": 2, "drop": 1, "ignore-range": 0, "truncate": 0,
                 "wrong-range": 0, "slow": 0, "count": 1}
        if fault not in arity:
            return self.plain(404, "unknown fault")
        args, rest = parts[1:1 + arity[fault]], parts[1 + arity[fault]:]
        path = os.path.join(self.root, *rest)
        key = (fault, tuple(args), "/".join(rest))
        if fault == "delay":
            with seen_lock:
                delayed["now"] += 1
                delayed["most"] = max(delayed["most"], delayed["now"])
            time.sleep(int(args[0]) / 1000.0)
            with seen_lock:
                delayed["now"] -= 1
        if fault == "status" and count(key) <= int(args[1]):
            return self.plain(int(args[0]), "injected")
        if fault == "drop" and count(key) <= int(args[0]):
            self.close_connection = True
            self.connection.shutdown(2)
            return
        if not os.path.isfile(path):
            return self.plain(404, "not found")
        with open(path, "rb") as f:
            data = f.read()
        total = len(data)
        status, first, last = 200, 0, total - 1
        match = re.match(r"bytes=(\d+)-(\d+)?$", self.headers.get("Range", ""))
        if match and fault != "ignore-range":
            first = int(match.group(1))
            last = min(int(match.group(2)) if match.group(2) else total - 1, total - 1)
            if first >= total:
                return self.plain(416, "range not satisfiable")
            status = 206
        body = data[first:last + 1]
        if fault == "count":
            with seen_lock:
                recorded[args[0]].append({"method": self.command, "path": "/".join(rest),
                                          "range": self.headers.get("Range", ""),
                                          "bytes": 0 if head else len(body)})
        self.send_response(status)
        self.send_header("Content-Length", str(len(body)))
        self.send_header("Accept-Ranges", "bytes")
        if status == 206:
            shown_first = first + 1 if fault == "wrong-range" else first
            self.send_header("Content-Range", "bytes %d-%d/%d" % (shown_first, last + (fault == "wrong-range"), total))
        self.end_headers()
        if head:
            return
        if fault == "truncate":
            self.wfile.write(body[:len(body) // 2])
            self.wfile.flush()
            self.close_connection = True
            self.connection.shutdown(2)
            return
        if fault == "slow":
            for i in range(len(body)):
                self.wfile.write(body[i:i + 1])
                self.wfile.flush()
                time.sleep(0.1)
            return
        self.wfile.write(body)

    def plain(self, status, text):
        body = text.encode()
        self.send_response(status)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(body)


class Server(socketserver.ThreadingMixIn, http.server.HTTPServer):
    daemon_threads = True
    allow_reuse_address = True


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--port", type=int, required=True)
    parser.add_argument("--root", required=True)
    options = parser.parse_args()
    Handler.root = options.root
    Server(("127.0.0.1", options.port), Handler).serve_forever()


if __name__ == "__main__":
    main()
