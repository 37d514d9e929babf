// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Journal.h"

#include "GoogleStandIn/ApiError.h"
#include "GoogleStandIn/StateFolder.h"

#include <QFile>
#include <QJsonDocument>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

Journal::~Journal() {
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

void Journal::open() {
    if (m_descriptor >= 0)
        ::close(m_descriptor);
    m_descriptor = ::open(QFile::encodeName(m_path).constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (m_descriptor < 0 || ::ftruncate(m_descriptor, m_size) != 0)
        throw StartError(u"The journal %1 cannot be opened."_s.arg(m_path));
}

void Journal::load(const std::function<void(const QJsonObject &, bool)> &replay) {
    QFile file(m_path);
    QList<QByteArray> lines;
    if (file.open(QIODevice::ReadOnly)) {
        while (!file.atEnd()) {
            const QByteArray line = file.readLine();
            if (!line.endsWith('\n'))
                break;
            lines.append(line);
            m_size += line.size();
        }
    }
    m_records = lines.size();
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QJsonDocument document = QJsonDocument::fromJson(lines[i]);
        if (!document.isObject())
            throw StartError(u"The journal %1 is damaged in line %2."_s.arg(m_path).arg(i + 1));
        replay(document.object(), i + 1 == lines.size());
    }
    open();
}

void Journal::append(const QJsonObject &record) {
    const QByteArray line = QJsonDocument(record).toJson(QJsonDocument::Compact) + '\n';
    if (::write(m_descriptor, line.constData(), size_t(line.size())) != line.size()) {
        // A part of a line would make everything after it unreadable.
        if (::ftruncate(m_descriptor, m_size) != 0)
            qWarning("The journal cannot be repaired after a failed write.");
        throw ApiError::internal(u"The local store is not writable"_s);
    }
    m_lastSize = m_size;
    m_size += line.size();
    ++m_records;
}

void Journal::withdraw() {
    if (::ftruncate(m_descriptor, m_lastSize) == 0) {
        m_size = m_lastSize;
        --m_records;
    }
}

void Journal::rewrite(const QList<QJsonObject> &records) {
    QByteArray content;
    for (const QJsonObject &record : records)
        content += QJsonDocument(record).toJson(QJsonDocument::Compact) + '\n';
    if (!writeAtomically(m_path, content))
        throw StartError(u"The journal %1 cannot be written."_s.arg(m_path));
    m_size = m_lastSize = content.size();
    m_records = records.size();
    open();
}

} // namespace quillmount::standin
