// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/AuthPage.h"

namespace quillmount {

namespace {

struct Words {
    QByteArrayView line; // the colour of the line between the stations
    QByteArrayView end;  // the name of the second station
    QByteArrayView title;
    QByteArrayView text;
};

constexpr Words connected = {
    "#00875A",
    "Drive",
    "You're connected",
    "Your drive is connecting now. You can close this tab and go back to Quillmount.",
};

constexpr Words stopped = {
    "#C81E33",
    "Stopped",
    "Sign-in didn't finish",
    "Quillmount needs permission to use its own folder in your Drive. Go back to Quillmount, click Try Again, and "
    "leave the Google Drive box ticked.",
};

constexpr QByteArrayView beforeLine = R"html(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Quillmount</title>
<style>
:root { color-scheme: light dark; --ink: #111214; --paper: #F6F7F8; --rail: #D9DCE0; --line: )html";

constexpr QByteArrayView beforeEnd = R"html(; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #F4F5F6; --paper: #16171A; --rail: #3A3D42; }
}
* { box-sizing: border-box; }
body { margin: 0; min-height: 100vh; background: var(--paper); color: var(--ink);
  font: 15px/1.5 -apple-system, BlinkMacSystemFont, "SF Pro Text", sans-serif; }
header { background: #111214; color: #fff; padding: 16px 24px; display: flex; align-items: center; gap: 12px;
  font-weight: 700; letter-spacing: -0.01em; font-size: 17px; }
header i { display: inline-block; width: 12px; height: 12px; border-radius: 50%; background: var(--line); }
main { max-width: 560px; margin: 0 auto; padding: 72px 24px; }
.route { display: flex; align-items: center; gap: 0; margin-bottom: 48px; }
.stop { display: flex; flex-direction: column; align-items: center; gap: 8px; font-size: 12px; font-weight: 700;
  text-transform: uppercase; letter-spacing: 0.08em; }
.dot { width: 20px; height: 20px; border-radius: 50%; background: var(--paper); border: 5px solid var(--ink); }
.dot.end { border-color: var(--line); }
.track { flex: 1; height: 6px; background: var(--line); margin: 0 -2px 22px; border-radius: 3px; }
h1 { font-size: 34px; line-height: 1.1; letter-spacing: -0.02em; margin: 0 0 12px; text-wrap: balance; }
p { margin: 0; max-width: 46ch; opacity: .78; }
</style>
</head>
<body>
<header><i></i>Quillmount</header>
<main>
<div class="route">
<div class="stop"><span class="dot"></span>Mac</div>
<div class="track"></div>
<div class="stop"><span class="dot end"></span>)html";

} // namespace

QByteArray AuthPage::html(bool success) {
    const Words &words = success ? connected : stopped;
    QByteArray page;
    for (const QByteArrayView piece :
         {beforeLine, words.line, beforeEnd, words.end, QByteArrayView("</div>\n</div>\n<h1>"), words.title,
          QByteArrayView("</h1>\n<p>"), words.text, QByteArrayView("</p>\n</main>\n</body>\n</html>\n")})
        page.append(piece);
    return page;
}

} // namespace quillmount
