// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxSidebar.h"

#include "Platform/Linux/PlatformLog.h"
#include "Platform/Linux/PrivateFolder.h"
#include "Platform/PlatformError.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QUrl>
#include <QXmlStreamReader>

#include <optional>
#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

QByteArray addressOf(const QString &path) {
    return QUrl::fromLocalFile(path).toEncoded(QUrl::FullyEncoded);
}

// The contents; absent when there is no such file.
std::optional<QByteArray> contentsOf(const QString &path) {
    QFile file(path);
    if (!file.exists())
        return std::nullopt;
    if (!file.open(QIODevice::ReadOnly))
        throw PlatformError(file.errorString());
    return file.readAll();
}

void write(const QString &path, const QByteArray &contents) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size() || !file.commit())
        throw PlatformError(file.errorString());
}

// An entry is a line: the address, and after a blank the name.
QByteArray withoutBookmarks(const QByteArray &text, const QByteArray &address) {
    QByteArray kept;
    for (qsizetype begin = 0; begin < text.size();) {
        const qsizetype newline = text.indexOf('\n', begin);
        const qsizetype end = newline < 0 ? text.size() : newline + 1;
        const QByteArray line = text.sliced(begin, end - begin);
        const QByteArray entry = line.trimmed();
        if (entry != address && !entry.startsWith(address + ' '))
            kept += line;
        begin = end;
    }
    return kept;
}

// Where an element begins and ends in the text.
struct Span {
    qsizetype begin;
    qsizetype end;
};

// What the list of places has of interest. Spans count characters.
struct Places {
    QList<Span> entries; // for the address
    qsizetype end = -1;  // of the list, before its closing tag
};

// Throws when it is no list of places: such a file is left alone.
Places readPlaces(const QString &text, const QString &address) {
    Places places;
    QXmlStreamReader reader(text);
    std::optional<qsizetype> begin;
    // A tag holds no other "<" than its first. (Behind text the reader stands after the next one.)
    const auto tag = [&] { return text.lastIndexOf(u'<', qsizetype(reader.characterOffset()) - 1); };
    int depth = 0;
    while (!reader.atEnd()) {
        const auto token = reader.readNext();
        if (token == QXmlStreamReader::StartElement) {
            ++depth;
            if (depth == 1 && reader.name() != "xbel"_L1)
                break;
            const bool isEntry = depth == 2 && reader.name() == "bookmark"_L1;
            if (isEntry && reader.attributes().value("href"_L1) == address)
                begin = tag();
        } else if (token == QXmlStreamReader::EndElement) {
            --depth;
            if (depth == 1 && begin)
                places.entries.append({*std::exchange(begin, std::nullopt), qsizetype(reader.characterOffset())});
            if (depth == 0)
                places.end = tag();
        }
    }
    if (reader.hasError() || places.end < 0)
        throw PlatformError(u"The file manager's list of places cannot be read"_s);
    return places;
}

} // namespace

LinuxSidebar::LinuxSidebar(const QString &configuration, const QString &data)
    : m_bookmarks(configuration + u"/gtk-3.0/bookmarks"_s)
    , m_places(data + u"/user-places.xbel"_s) {}

void LinuxSidebar::add(const QString &path, const QString &name) {
    const QByteArray address = addressOf(path);
    QByteArray bookmarks = contentsOf(m_bookmarks).value_or(QByteArray());
    if (withoutBookmarks(bookmarks, address) == bookmarks) {
        if (!bookmarks.isEmpty() && !bookmarks.endsWith('\n'))
            bookmarks += '\n';
        if (!makePrivateFolder(QFileInfo(m_bookmarks).path()))
            throw PlatformError(systemError());
        write(m_bookmarks, bookmarks + address + ' ' + name.toUtf8() + '\n');
    }
    // Where there is no such list nobody shows it, and one with a single entry would stand in the way of KDE's own.
    const auto places = contentsOf(m_places);
    if (!places)
        return;
    const QString text = QString::fromUtf8(*places);
    const Places found = readPlaces(text, QString::fromLatin1(address));
    if (!found.entries.isEmpty())
        return;
    const QString entry = u" <bookmark href=\"%1\">\n  <title>%2</title>\n </bookmark>\n"_s.arg(
        QString::fromLatin1(address).toHtmlEscaped(), name.toHtmlEscaped());
    write(m_places, (text.first(found.end) + entry + text.sliced(found.end)).toUtf8());
}

void LinuxSidebar::remove(const QString &path) {
    const QByteArray address = addressOf(path);
    if (const auto bookmarks = contentsOf(m_bookmarks)) {
        const QByteArray kept = withoutBookmarks(*bookmarks, address);
        if (kept != *bookmarks)
            write(m_bookmarks, kept);
    }
    const auto places = contentsOf(m_places);
    if (!places)
        return;
    QString text = QString::fromUtf8(*places);
    const QList<Span> entries = readPlaces(text, QString::fromLatin1(address)).entries;
    for (auto entry = entries.crbegin(); entry != entries.crend(); ++entry) {
        // With the line that it stands on.
        qsizetype begin = entry->begin;
        while (begin > 0 && text[begin - 1] == u' ')
            --begin;
        qsizetype end = entry->end;
        if (end < text.size() && text[end] == u'\n')
            ++end;
        text.remove(begin, end - begin);
    }
    if (!entries.isEmpty())
        write(m_places, text.toUtf8());
}

} // namespace quillmount
