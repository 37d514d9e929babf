// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/EngineAnswers.h"

#include <QJsonDocument>
#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

QJsonObject object(const QByteArray &text) {
    return QJsonDocument::fromJson(text).object();
}

} // namespace

class EngineAnswersTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cacheFigures_data();
    void cacheFigures();
    void transfers_data();
    void transfers();
    void quota_data();
    void quota();
    void folderURL_data();
    void folderURL();
};

void EngineAnswersTest::cacheFigures_data() {
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QList<qint64>>("figures"); // queued, in progress, errored, bytes; empty for none
    QTest::newRow("all there") << "{\"diskCache\":{\"uploadsQueued\":1,\"uploadsInProgress\":2,\"erroredFiles\":3,"
                                  "\"bytesUsed\":5000000000.0}}"_ba
                               << QList<qint64>{1, 2, 3, 5'000'000'000};
    QTest::newRow("an empty cache") << "{\"diskCache\":{}}"_ba << QList<qint64>{0, 0, 0, 0};
    QTest::newRow("no cache") << "{\"inUse\":1}"_ba << QList<qint64>();
    QTest::newRow("a cache of another type") << "{\"diskCache\":[1]}"_ba << QList<qint64>();
    QTest::newRow("figures of other types") << "{\"diskCache\":{\"uploadsQueued\":\"1\",\"uploadsInProgress\":true,"
                                               "\"erroredFiles\":1.5,\"bytesUsed\":null}}"_ba
                                            << QList<qint64>{0, 0, 0, 0};
    QTest::newRow("too much") << "{\"diskCache\":{\"uploadsQueued\":1,\"bytesUsed\":1e300}}"_ba
                              << QList<qint64>{1, 0, 0, std::numeric_limits<qint64>::max()};
}

void EngineAnswersTest::cacheFigures() {
    QFETCH(QByteArray, answer);
    const auto stats = EngineAnswers::cacheFigures(object(answer));
    QList<qint64> figures;
    if (stats)
        figures = {stats->uploadsQueued, stats->uploadsInProgress, stats->erroredFiles, stats->cacheBytes};
    QTEST(figures, "figures");
}

void EngineAnswersTest::transfers_data() {
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<double>("speed");
    QTest::addColumn<QList<DriveTransfer>>("transfers");
    QByteArrayList eight;
    QList<DriveTransfer> firstFive;
    for (int number = 1; number <= 8; ++number) {
        const QString digit = QString::number(number);
        eight.append(u"{\"name\":\"a/b/%1\",\"percentage\":%1}"_s.arg(digit).toUtf8());
        if (number <= 5)
            firstFive.append({u"a/b/"_s + digit, digit, number});
    }
    QTest::newRow("eight") << "{\"speed\":2.5,\"transferring\":[" + eight.join(',') + "]}" << 2.5 << firstFive;
    QTest::newRow("not all there") << "{\"speed\":3,\"transferring\":[{},{\"name\":\"one\"}]}"_ba << 3.0
                                   << QList<DriveTransfer>{{}, {u"one"_s, u"one"_s, 0}};
    QTest::newRow("of other types") << "{\"transferring\":[{\"name\":7,\"percentage\":\"8\"}]}"_ba << 0.0
                                    << QList<DriveTransfer>{{}};
    QTest::newRow("not only objects") << "{\"speed\":\"3\",\"transferring\":[{\"name\":\"one\"},1]}"_ba << 0.0
                                      << QList<DriveTransfer>();
    QTest::newRow("idle") << "{\"speed\":0,\"transferring\":null}"_ba << 0.0 << QList<DriveTransfer>();
}

void EngineAnswersTest::transfers() {
    QFETCH(QByteArray, answer);
    QTEST(EngineAnswers::bytesPerSecond(object(answer)), "speed");
    QTEST(EngineAnswers::transfers(object(answer)), "transfers");
}

void EngineAnswersTest::quota_data() {
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QList<qint64>>("figures"); // total, used, free; empty for none
    QTest::newRow("free computed") << "{\"total\":100,\"used\":30}"_ba << QList<qint64>{100, 30, 70};
    QTest::newRow("more used than there is") << "{\"total\":100,\"used\":120}"_ba << QList<qint64>{100, 120, 0};
    QTest::newRow("free of another type")
        << "{\"total\":1e2,\"used\":30,\"free\":\"1\"}"_ba << QList<qint64>{100, 30, 70};
    QTest::newRow("no total") << "{\"used\":30,\"free\":60}"_ba << QList<qint64>();
    QTest::newRow("total 0") << "{\"total\":0,\"used\":0,\"free\":0}"_ba << QList<qint64>();
    QTest::newRow("total of another type") << "{\"total\":\"100\",\"used\":30}"_ba << QList<qint64>();
}

void EngineAnswersTest::quota() {
    QFETCH(QByteArray, answer);
    const auto quota = EngineAnswers::quota(object(answer));
    QTEST((quota ? QList<qint64>{quota->total, quota->used, quota->free} : QList<qint64>()), "figures");
}

void EngineAnswersTest::folderURL_data() {
    using Address = std::optional<QString>;
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<Address>("address"); // empty: one that is not valid
    const Address address(u"https://drive.google.com/drive/folders/1aB-_"_s);
    QTest::newRow("found")
        << "{\"list\":[{\"Name\":\"quillmount\",\"ID\":\"0\"},{\"Name\":\"Quillmount\",\"ID\":\"1aB-_\"}]}"_ba
        << address;
    QTest::newRow("the first with an ID") << "{\"list\":[{\"Name\":\"Quillmount\",\"ID\":7},{\"Name\":\"Quillmount\","
                                             "\"ID\":\"1aB-_\"},{\"Name\":\"Quillmount\",\"ID\":\"2\"}]}"_ba
                                          << address;
    QTest::newRow("not there") << "{\"list\":[{\"Name\":\"Quillmount 2\",\"ID\":\"1\"}]}"_ba << Address();
    QTest::newRow("null") << "{\"list\":null}"_ba << Address();
    QTest::newRow("no address") << "{\"list\":[{\"Name\":\"Quillmount\",\"ID\":\"a b%\"}]}"_ba << Address(QString());
}

void EngineAnswersTest::folderURL() {
    QFETCH(QByteArray, answer);
    const std::optional<QUrl> url = EngineAnswers::folderURL(object(answer));
    QTEST((url ? std::optional(url->toString()) : std::nullopt), "address");
}

QTEST_APPLESS_MAIN(EngineAnswersTest)
#include "EngineAnswersTest.moc"
