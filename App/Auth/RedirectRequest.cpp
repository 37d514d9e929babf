// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/RedirectRequest.h"

#include "App/Auth/AuthPage.h"

#include <QHash>
#include <QUrl>

#include <algorithm>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

using Parameters = QHash<QString, QString>;

// The target of the request line, such as "/?code=…".
std::optional<QString> requestTarget(QByteArrayView request) {
    const QStringList lines = QString::fromUtf8(request).split(u"\r\n"_s, Qt::SkipEmptyParts);
    const QStringList parts = lines.value(0).split(u' ', Qt::SkipEmptyParts);
    return parts.size() < 2 ? std::nullopt : std::optional(parts[1]);
}

// By hand: QUrlQuery leaves some characters encoded. A "+" stays what it is.
Parameters parametersOf(const QUrl &url) {
    Parameters parameters;
    const QList<QByteArray> items = url.query(QUrl::FullyEncoded).toLatin1().split('&');
    for (const QByteArray &item : items) {
        const qsizetype equals = item.indexOf('=');
        const QString name = QUrl::fromPercentEncoding(equals < 0 ? item : item.left(equals));
        const QString value = equals < 0 ? QString() : QUrl::fromPercentEncoding(item.mid(equals + 1));
        // The first of the same name counts.
        if (!parameters.contains(name))
            parameters.insert(name, value);
    }
    return parameters;
}

// Takes as long for a wrong text as for the right one, so that the time tells nothing about where they differ.
bool isEqualInConstantTime(const QString &left, const QString &right) {
    const QByteArray a = left.toUtf8();
    const QByteArray b = right.toUtf8();
    volatile quint8 difference = a.size() == b.size() ? 0 : 1;
    for (qsizetype i = 0; i < b.size(); ++i)
        difference = difference | (quint8(b[i]) ^ quint8(i < a.size() ? a[i] : 0));
    return difference == 0;
}

} // namespace

QByteArray RedirectRequest::Answer::response() const {
    return "HTTP/1.1 " + status +
           "\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: " + QByteArray::number(body.size()) +
           "\r\nConnection: close\r\n\r\n" + body;
}

RedirectRequest::Reading RedirectRequest::read(QByteArrayView request, const QString &expectedState) {
    const Reading notFound = {{"404 Not Found", {}}, std::nullopt};
    const std::optional<QString> target = requestTarget(request);
    if (!target)
        return notFound;
    const QUrl url(u"http://127.0.0.1"_s + *target, QUrl::StrictMode);
    const QString path = url.path(QUrl::FullyEncoded);
    if (!url.isValid() || (!path.isEmpty() && path != "/"_L1))
        return notFound;

    const Parameters parameters = parametersOf(url);
    const auto code = parameters.constFind(u"code"_s);
    const auto state = parameters.constFind(u"state"_s);
    if (code != parameters.cend() && state != parameters.cend() && isEqualInConstantTime(*state, expectedState))
        return {{"200 OK", AuthPage::html(true)}, *code};
    if (parameters.contains(u"error"_s))
        return {{"200 OK", AuthPage::html(false)}, AuthError::denied};
    return {{"400 Bad Request", AuthPage::html(false)}, std::nullopt};
}

} // namespace quillmount
