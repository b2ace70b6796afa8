#!/usr/bin/env bash
# Serves a folder over HTTP and HTTPS with nginx, and through the tests' fault-injecting server,
# on free ports of 127.0.0.1, for the tests of stores on web servers.
#   web-server.sh start STATE_DIR DATA_DIR   writes STATE_DIR/server.json: {"http", "https", "faults", "ca",
#                                            "private": the secrets and addresses of the private stores}
#   web-server.sh stop STATE_DIR
set -euo pipefail

command=$1
state=$2
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

stop() {
    for pidfile in "$state/nginx.pid" "$state/faults.pid" "$state/private.pid"; do
        if [ -f "$pidfile" ]; then
            kill "$(cat "$pidfile")" 2>/dev/null || true
            rm -f "$pidfile"
        fi
    done
}

free_port() {
    python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1]); s.close()'
}

wait_for_port() {
    for _ in $(seq 100); do
        if python3 -c "import socket,sys; socket.create_connection(('127.0.0.1', $1), 1)" 2>/dev/null; then
            return 0
        fi
        sleep 0.1
    done
    echo "web-server: nothing answers on port $1" >&2
    return 1
}

case "$command" in
start)
    data=$(cd "$3" && pwd)
    stop
    mkdir -p "$state/tmp"
    # A certificate authority of the tests' own and a certificate of 127.0.0.1 signed by it.
    if [ ! -f "$state/server.pem" ]; then
        openssl req -x509 -newkey rsa:2048 -nodes -days 3650 -subj "/CN=Lumaro test CA" \
            -keyout "$state/ca.key" -out "$state/ca.pem" 2>/dev/null
        openssl req -newkey rsa:2048 -nodes -subj "/CN=127.0.0.1" -keyout "$state/server.key" \
            -out "$state/server.csr" 2>/dev/null
        printf 'subjectAltName=IP:127.0.0.1\nbasicConstraints=CA:FALSE\n' >"$state/server.ext"
        openssl x509 -req -in "$state/server.csr" -CA "$state/ca.pem" -CAkey "$state/ca.key" -CAcreateserial \
            -days 3650 -extfile "$state/server.ext" -out "$state/server.pem" 2>/dev/null
    fi
    http=$(free_port)
    https=$(free_port)
    faults=$(free_port)
    private=$(free_port)
    # The secrets of the private stores: made up for the tests, and looked for in what the tests'
    # failing cases print.
    user=surveyor
    password='Wh1te-Stake-42'
    bearer='lumaro-bearer-7c1f9e'
    bucket=lumaro-test
    access_key=AKIALUMAROTEST000001
    temporary_key=ASIALUMAROTEST000002
    secret='lumaroSecretKey/0123+abcdefXYZ98765'
    region=eu-central-1
    token='lumaro-session-token-5a4b3c'
    printf '%s:%s\n' "$user" "$(openssl passwd -apr1 "$password")" >"$state/htpasswd"
    cat >"$state/nginx.conf" <<CONF
daemon on;
user root;
worker_processes 1;
pid $state/nginx.pid;
error_log $state/error.log;
events { worker_connections 256; }
http {
    access_log off;
    default_type application/octet-stream;
    keepalive_requests 100000;
    client_body_temp_path $state/tmp/body;
    proxy_temp_path $state/tmp/proxy;
    fastcgi_temp_path $state/tmp/fastcgi;
    uwsgi_temp_path $state/tmp/uwsgi;
    scgi_temp_path $state/tmp/scgi;
    server {
        listen 127.0.0.1:$http;
        root $data;
        location /private/ { alias $data/; auth_basic "lumaro"; auth_basic_user_file $state/htpasswd; }
    }
    server {
        listen 127.0.0.1:$https ssl;
        ssl_certificate $state/server.pem;
        ssl_certificate_key $state/server.key;
        root $data;
        location /private/ { alias $data/; auth_basic "lumaro"; auth_basic_user_file $state/htpasswd; }
    }
}
CONF
    nginx -e "$state/error.log" -p "$state" -c "$state/nginx.conf"
    python3 "$here/fault-server.py" --port "$faults" --root "$data" >"$state/faults.log" 2>&1 &
    echo $! >"$state/faults.pid"
    python3 "$here/private-server.py" --port "$private" --root "$data" --bucket "$bucket" --access-key "$access_key" --temporary-key "$temporary_key" \
        --secret "$secret" --region "$region" --token "$token" --bearer "$bearer" >"$state/private.log" 2>&1 &
    echo $! >"$state/private.pid"
    wait_for_port "$http"
    wait_for_port "$https"
    wait_for_port "$faults"
    wait_for_port "$private"
    cat >"$state/server.json" <<JSON
{"http": "http://127.0.0.1:$http", "https": "https://127.0.0.1:$https", "faults": "http://127.0.0.1:$faults", "ca": "$state/ca.pem",
 "private": {"basic": {"user": "$user", "password": "$password"}, "bearer": "$bearer", "server": "http://127.0.0.1:$private",
             "bearer_url": "http://127.0.0.1:$private/bearer", "s3_endpoint": "http://127.0.0.1:$private/bucket",
             "bucket": "$bucket", "access_key": "$access_key", "temporary_key": "$temporary_key", "secret": "$secret", "region": "$region",
             "token": "$token"}}
JSON
    ;;
stop)
    stop
    ;;
*)
    echo "usage: web-server.sh start STATE_DIR DATA_DIR | stop STATE_DIR" >&2
    exit 2
    ;;
esac
