#!/usr/bin/env python3
"""The web service of the demo: says whether the user must enroll, and lets him do so.

Prints "listening on URL" once it answers. Nothing of it is part of the product.
"""
import argparse
import html
import http.server
import threading
import urllib.parse

PAGE = """<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>Password self-service</title>
<style>
body {{ font: 16px/1.5 sans-serif; margin: 0; background: #f2f4f8; color: #1c2733 }}
header {{ background: #1f4e8c; color: white; padding: 18px 32px; font-size: 20px }}
main {{ background: white; max-width: 560px; margin: 40px auto; padding: 24px 36px; border-radius: 10px;
       box-shadow: 0 2px 12px #0002 }}
button {{ font: inherit; background: #1f4e8c; color: white; border: 0; border-radius: 6px; padding: 10px 22px }}
code {{ background: #eef; padding: 2px 6px; border-radius: 4px }}
</style></head><body>
<header>Password self-service (demo)</header>
<main><h1>Enrollment</h1>
<p>You followed the reminder to <code id="route">?</code>.</p>
<p id="text">Press the button, and the agent hears at its next question that you are enrolled.</p>
<button id="enroll" onclick="enroll()">Enroll</button>
</main>
<script>
document.getElementById('route').textContent = location.hash || '(no route)';
fetch('seen?route=' + encodeURIComponent(location.hash));
function enroll() {{
  fetch('enroll', {{method: 'POST'}}).then(() => {{
    document.getElementById('text').textContent = 'Done: you are enrolled.';
    document.getElementById('enroll').hidden = true;
  }});
}}
</script></body></html>
"""


class State:
    def __init__(self):
        self.lock = threading.Lock()
        self.enrolled = False
        self.routes = []


class Handler(http.server.BaseHTTPRequestHandler):
    state = State()
    protocol_version = "HTTP/1.1"

    def answer(self, text, content_type="text/plain; charset=utf-8", status=200):
        body = text.encode()
        self.send_response(status)
        self.send_header("Content-Type", content_type)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def do_GET(self):
        url = urllib.parse.urlsplit(self.path)
        query = urllib.parse.parse_qs(url.query)
        name = url.path.removeprefix("/selfservice/")
        with self.state.lock:
            if name == "SelfServiceClientInfoProvider.ashx":
                self.answer(f"NeedPssEnroll={'false' if self.state.enrolled else 'true'}\r\n"
                            f"UserName={query.get('UserName', [''])[0]}\r\n")
            elif name == "seen":
                self.state.routes.append(query.get("route", [""])[0])
                self.answer("")
            elif name == "state":
                self.answer(f"enrolled={self.state.enrolled}\nroutes={','.join(self.state.routes)}\n")
            elif name == "":
                self.answer(PAGE.format(), "text/html; charset=utf-8")
            else:
                self.answer(f"no such page: {html.escape(name)}", status=404)

    def do_POST(self):
        self.rfile.read(int(self.headers.get("Content-Length") or 0))
        if self.path == "/selfservice/enroll":
            with self.state.lock:
                self.state.enrolled = True
            self.answer("")
        else:
            self.answer("no such page", status=404)

    def log_message(self, format, *args):
        print("web:", format % args, flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--port", type=int, default=0)
    port = parser.parse_args().port
    server = http.server.ThreadingHTTPServer(("127.0.0.1", port), Handler)
    print(f"listening on http://127.0.0.1:{server.server_address[1]}/selfservice", flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
