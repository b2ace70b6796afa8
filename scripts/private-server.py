#!/usr/bin/env python3
"""A web server of the tests' own that serves the files of a folder only to those who may read
them, with range requests:

  /bucket/BUCKET/PATH     an S3-style bucket, addressed path-style (ENDPOINT/BUCKET/KEY): every
                          request must carry an AWS Signature Version 4 that this server recomputes
                          from the published algorithm with its own copy of the keys (access key,
                          secret, region, service s3; the temporary key needs the session token too)
  /bearer/PATH            the file, for requests with "Authorization: Bearer TOKEN"

A refused request gets 403 (S3: SignatureDoesNotMatch, InvalidAccessKeyId, AccessDenied) or 401
(bearer), and is recorded; /stats/refused tells how many were refused since the start.
"""
import argparse
import hashlib
import hmac
import http.server
import os
import re
import socketserver
import threading
import urllib.parse

settings = {}
refused = {"count": 0}
lock = threading.Lock()


def hmac_sha256(key, text):
    return hmac.new(key, text.encode(), hashlib.sha256).digest()


def uri_encode(text, keep_slash):
    safe = "-_.~" + ("/" if keep_slash else "")
    return urllib.parse.quote(text, safe=safe)


def canonical_query(query):
    pairs = urllib.parse.parse_qsl(query, keep_blank_values=True)
    encoded = sorted((uri_encode(k, False), uri_encode(v, False)) for k, v in pairs)
    return "&".join("%s=%s" % pair for pair in encoded)


def sigv4_problem(method, raw_path, headers):
    """Why the request's signature is not valid, or None when it is."""
    authorization = headers.get("Authorization", "")
    match = re.match(r"AWS4-HMAC-SHA256 Credential=([^/]+)/(\d{8})/([^/]+)/([^/]+)/aws4_request,\s*"
                     r"SignedHeaders=([^,]+),\s*Signature=([0-9a-f]{64})$", authorization)
    if not match:
        return "AccessDenied", "no Signature Version 4 authorization"
    key_id, date, region, service, signed_headers, signature = match.groups()
    if key_id not in (settings["access_key"], settings["temporary_key"]):
        return "InvalidAccessKeyId", "unknown access key"
    if region != settings["region"] or service != "s3":
        return "AuthorizationHeaderMalformed", "wrong region or service in the credential scope"
    amz_date = headers.get("x-amz-date", "")
    if not amz_date.startswith(date):
        return "AccessDenied", "x-amz-date does not match the credential scope"
    names = signed_headers.split(";")
    if "host" not in names or "x-amz-date" not in names:
        return "AccessDenied", "host and x-amz-date must be signed"
    # Temporary credentials (the temporary key) need the session token, signed.
    token = headers.get("x-amz-security-token")
    if key_id == settings["temporary_key"] and (token != settings["token"] or "x-amz-security-token" not in names):
        return "InvalidToken", "the session token is missing, wrong or unsigned"
    path, _, query = raw_path.partition("?")
    canonical_headers = "".join(
        "%s:%s\n" % (name, " ".join((headers.get(name) or "").split())) for name in names)
    payload = headers.get("x-amz-content-sha256") or hashlib.sha256(b"").hexdigest()
    canonical_request = "\n".join([method, uri_encode(urllib.parse.unquote(path), True), canonical_query(query),
                                   canonical_headers, signed_headers, payload])
    scope = "%s/%s/%s/aws4_request" % (date, region, service)
    to_sign = "\n".join(["AWS4-HMAC-SHA256", amz_date, scope,
                         hashlib.sha256(canonical_request.encode()).hexdigest()])
    key = hmac_sha256(("AWS4" + settings["secret"]).encode(), date)
    for part in (region, service, "aws4_request"):
        key = hmac_sha256(key, part)
    expected = hmac.new(key, to_sign.encode(), hashlib.sha256).hexdigest()
    if not hmac.compare_digest(expected, signature):
        return "SignatureDoesNotMatch", "the signature does not match"
    return None


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def do_HEAD(self):
        self.answer(head=True)

    def do_GET(self):
        self.answer(head=False)

    def refuse(self, status, code, text):
        with lock:
            refused["count"] += 1
        body = ("<Error><Code>%s</Code><Message>%s</Message></Error>" % (code, text)).encode()
        self.send_response(status)
        self.send_header("Content-Length", str(len(body)))
        if status == 401:
            self.send_header("WWW-Authenticate", 'Bearer realm="lumaro"')
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(body)

    def answer(self, head):
        path = self.path.partition("?")[0]
        parts = [urllib.parse.unquote(p) for p in path.lstrip("/").split("/")]
        if parts[:2] == ["stats", "refused"]:
            body = ('{"refused": %d}' % refused["count"]).encode()
            self.send_response(200)
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            return self.wfile.write(body) if not head else None
        if parts[0] == "bucket":
            if len(parts) < 2 or parts[1] != settings["bucket"]:
                return self.refuse(404, "NoSuchBucket", "no such bucket")
            problem = sigv4_problem(self.command, self.path, self.headers)
            if problem:
                return self.refuse(403, *problem)
            rest = parts[2:]
        elif parts[0] == "bearer":
            if self.headers.get("Authorization") != "Bearer " + settings["bearer"]:
                return self.refuse(401, "Unauthorized", "a bearer token is needed")
            rest = parts[1:]
        else:
            return self.refuse(404, "NotFound", "unknown path")
        file = os.path.join(settings["root"], *rest)
        if ".." in rest or not os.path.isfile(file):
            return self.refuse(404, "NoSuchKey", "no such key")
        with open(file, "rb") as f:
            data = f.read()
        status, first, last = 200, 0, len(data) - 1
        match = re.match(r"bytes=(\d+)-(\d+)?$", self.headers.get("Range", ""))
        if match:
            first = int(match.group(1))
            last = min(int(match.group(2)) if match.group(2) else len(data) - 1, len(data) - 1)
            status = 206
        body = data[first:last + 1]
        self.send_response(status)
        self.send_header("Content-Length", str(len(body)))
        self.send_header("Accept-Ranges", "bytes")
        if status == 206:
            self.send_header("Content-Range", "bytes %d-%d/%d" % (first, last, len(data)))
        self.end_headers()
        if not head:
            self.wfile.write(body)


class Server(socketserver.ThreadingMixIn, http.server.HTTPServer):
    daemon_threads = True
    allow_reuse_address = True


def main():
    parser = argparse.ArgumentParser()
    for name in ("port", "root", "bucket", "access-key", "temporary-key", "secret", "region", "token", "bearer"):
        parser.add_argument("--" + name, required=True)
    options = parser.parse_args()
    settings.update(root=options.root, bucket=options.bucket, access_key=options.access_key,
                    temporary_key=options.temporary_key,
                    secret=options.secret, region=options.region, token=options.token, bearer=options.bearer)
    Server(("127.0.0.1", int(options.port)), Handler).serve_forever()


if __name__ == "__main__":
    main()
