// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/ErrorMapper.h"

#include "App/Support/Paths.h"

#include <QFile>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {
constexpr qint64 logWindow = 16384;
}

QString ErrorMapper::lastLogError() {
    QFile log(Paths::engineLog());
    if (!log.open(QIODevice::ReadOnly))
        return {};
    if (log.size() > logWindow)
        log.seek(log.size() - logWindow);
    const QList<QByteArray> lines = log.read(logWindow).split('\n');
    for (auto line = lines.crbegin(); line != lines.crend(); ++line)
        if (line->contains("ERROR") || line->contains("CRITICAL"))
            return QString::fromUtf8(*line);
    return {};
}

ErrorMapper::Kind ErrorMapper::classify(const QString &text) {
    struct Rule {
        QLatin1StringView pattern;
        Kind kind;
    };
    // The first rule that matches decides.
    static constexpr Rule rules[] = {
        {"invalid_grant"_L1, Kind::needsReconnect},
        {"token expired"_L1, Kind::needsReconnect},
        {"couldn't fetch token"_L1, Kind::needsReconnect},
        {"unauthorized_client"_L1, Kind::needsReconnect},
        {"insufficient authentication scopes"_L1, Kind::needsReconnect},
        {"access_token_scope_insufficient"_L1, Kind::needsReconnect},
        {"no such host"_L1, Kind::offline},
        {"network is unreachable"_L1, Kind::offline},
        {"dial tcp"_L1, Kind::offline},
        {"i/o timeout"_L1, Kind::offline},
        {"no space left"_L1, Kind::diskFull},
        {"outofspace"_L1, Kind::diskFull},
    };
    const QString lower = text.toLower();
    for (const Rule &rule : rules)
        if (lower.contains(rule.pattern))
            return rule.kind;
    const bool refused = lower.contains("failed"_L1) || lower.contains("permission denied"_L1);
    return lower.contains("mount"_L1) && refused ? Kind::mountRefused : Kind::unknown;
}

} // namespace quillmount
