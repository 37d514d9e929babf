// SPDX-License-Identifier: LicenseRef-Quillmount
#include "ConsentPage.h"

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
const auto page = uR"(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>%1 – Local Google</title>
<style>
  :root { color-scheme: light dark; --text: #202124; --back: #eef1f5; --card: #fff; --edge: #80868b; --blue: #0b57d0;
          --on-blue: #fff; }
  @media (prefers-color-scheme: dark) {
    :root { --text: #e8eaed; --back: #17181b; --card: #26282c; --edge: #9aa0a6; --blue: #a8c7fa; --on-blue: #062e6f; }
  }
  * { box-sizing: border-box; }
  body { margin: 0; min-height: 100vh; display: grid; place-items: center; padding: 24px; background: var(--back);
         color: var(--text); font: 16px/1.5 system-ui, sans-serif; }
  main { width: 100%; max-width: 34rem; padding: 32px; background: var(--card); border-radius: 16px; }
  small { color: inherit; }
  h1 { margin: 8px 0 16px; font-size: 26px; line-height: 1.2; text-wrap: balance; }
  fieldset { margin: 24px 0; padding: 8px 16px 16px; border: 1px solid var(--edge); border-radius: 12px; }
  legend { padding: 0 8px; font-weight: 600; }
  label, .given { display: flex; gap: 12px; padding: 8px 0; }
  input { flex: none; width: 20px; height: 20px; margin: 2px 0; accent-color: var(--blue); }
  .given::before { content: "✓"; flex: none; width: 20px; text-align: center; }
  .buttons { display: flex; flex-wrap: wrap; justify-content: flex-end; gap: 12px; }
  button { padding: 10px 24px; border: 1px solid var(--blue); border-radius: 24px; background: transparent;
           color: var(--blue); font: inherit; font-weight: 600; cursor: pointer; }
  button.main { background: var(--blue); color: var(--on-blue); }
  :focus-visible { outline: 3px solid var(--blue); outline-offset: 3px; }
</style>
</head>
<body>
<main>
<small>Local Google: no real account is touched</small>
%2
</main>
</body>
</html>
)"_s;

const auto form = uR"(<h1>An application wants to use your Google Account</h1>
<p>The application <strong>%1</strong> asks <strong>%2</strong>.</p>
<form method="post" action="%3">
<input type="hidden" name="ticket" value="%4">
<fieldset>
<legend>What it may do</legend>
%5</fieldset>
<div class="buttons">
<button name="decision" value="refuse">Cancel</button>
<button class="main" name="decision" value="agree">Continue</button>
</div>
</form>)"_s;

const auto identity = u"<div class=\"given\">See who you are, and your e-mail address</div>\n"_s;
const auto drive =
    u"<label><input type=\"checkbox\" name=\"drive\" value=\"yes\">"
    "<span>See, edit, create, and delete only the Google Drive files that you use with this application</span></label>\n"_s;
} // namespace

QByteArray ConsentPage::question(const AuthorizationRequest &request, const QString &ticket,
                                 const QString &decisionPath, const QString &account) {
    const bool asksForDrive = request.asksForDrive();
    const QString permissions =
        (request.scopes.size() > (asksForDrive ? 1 : 0) ? identity : QString()) + (asksForDrive ? drive : QString());
    const QString body =
        form.arg(request.clientId.toHtmlEscaped(), account.toHtmlEscaped(), decisionPath, ticket, permissions);
    return page.arg(u"Permissions"_s, body).toUtf8();
}

QByteArray ConsentPage::blocked(const OAuthError &error) {
    const QString body = u"<h1>Access blocked</h1>\n<p>%1</p>\n<p>Error %2: %3</p>"_s.arg(
        error.description.toHtmlEscaped(), QString::number(error.status), error.error.toHtmlEscaped());
    return page.arg(u"Access blocked"_s, body).toUtf8();
}

} // namespace quillmount::standin
