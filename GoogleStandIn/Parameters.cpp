// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Parameters.h"

#include "GoogleStandIn/ApiError.h"

#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

QString percentDecoded(const QByteArray &encoded) {
    for (qsizetype i = 0; i < encoded.size(); ++i) {
        if (encoded[i] == '%' && QByteArray::fromHex(encoded.mid(i + 1, 2)).size() != 1)
            throw ApiError::badRequest(u"Broken escape in the address"_s);
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(QByteArray::fromPercentEncoding(encoded));
    if (decoder.hasError() || text.contains(QChar::Null))
        throw ApiError::badRequest(u"The address is not UTF-8"_s);
    return text;
}

Parameters Parameters::parse(const QByteArray &encoded) {
    Parameters result;
    if (encoded.isEmpty())
        return result;
    const QList<QByteArray> pairs = encoded.split('&');
    for (QByteArray pair : pairs) {
        pair.replace('+', ' ');
        const QByteArray encodedName = pair.split('=').first();
        const QString name = percentDecoded(encodedName);
        if (name.isEmpty() || result.m_values.contains(name))
            throw ApiError::badRequest(u"Empty or repeated parameter '%1'"_s.arg(name));
        result.m_values.insert(name, percentDecoded(pair.mid(encodedName.size() + 1)));
    }
    return result;
}

bool Parameters::flag(const QString &name, bool absent) const {
    if (!contains(name))
        return absent;
    const QString text = value(name);
    if (text != "true"_L1 && text != "false"_L1)
        throw ApiError::invalidParameter(name, text);
    return text == "true"_L1;
}

int Parameters::number(const QString &name, int absent, int least, int most) const {
    if (!contains(name))
        return absent;
    bool ok = false;
    const int number = value(name).toInt(&ok);
    if (!ok || number < least || number > most)
        throw ApiError::invalidParameter(name, value(name));
    return number;
}

QString Parameters::firstNotIn(const QSet<QString> &known) const {
    for (auto it = m_values.begin(); it != m_values.end(); ++it) {
        if (!known.contains(it.key()))
            return it.key();
    }
    return {};
}

void Parameters::requireKnown(const QSet<QString> &known) const {
    static const QSet<QString> everywhere{u"alt"_s,       u"fields"_s, u"prettyPrint"_s,
                                          u"quotaUser"_s, u"key"_s,    u"$.xgafv"_s};
    for (auto it = m_values.begin(); it != m_values.end(); ++it) {
        if (!known.contains(it.key()) && !everywhere.contains(it.key()))
            throw ApiError::badRequest(u"Unknown parameter '%1'"_s.arg(it.key()));
    }
}

} // namespace quillmount::standin
