#include "Auth/LocalCallbackServer.h"

namespace tavro {

QByteArray LocalCallbackServer::response() {
    static constexpr char page[] = R"html(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Signed in — Tavro</title>
<style>
* { box-sizing: border-box; margin: 0; padding: 0; }
body { font-family: Inter, system-ui, sans-serif; background: #1B1814; color: #CFC8BC; min-height: 100vh;
  display: flex; align-items: center; justify-content: center; padding: 24px; }
.card { background: #241F1A; border: 1px solid #3E3833; border-radius: 16px; max-width: 380px; width: 100%;
  padding: 36px; text-align: center; }
.mark { margin-bottom: 18px; }
h1 { font-family: Fraunces, Georgia, serif; font-weight: 600; font-size: 22px; color: #FBF8F1;
  margin-bottom: 8px; }
p { font-size: 14px; line-height: 1.6; color: #A99E90; }
</style>
</head>
<body>
<main class="card">
<svg class="mark" width="40" height="40" viewBox="0 0 64 64" aria-hidden="true">
<path d="M14 26V14H26M38 14H50V26M50 38V50H38M26 50H14V38"
  fill="none" stroke="#E9DFC9" stroke-width="5" stroke-linecap="round" stroke-linejoin="round"/>
<circle cx="32" cy="32" r="7" fill="#C66B47"/>
</svg>
<h1>You're signed in</h1>
<p>Return to the Tavro app — you can close this tab.</p>
</main>
</body>
</html>
)html";
    const QByteArray body(page, sizeof page - 1);
    return "HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: " +
           QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

} // namespace tavro
