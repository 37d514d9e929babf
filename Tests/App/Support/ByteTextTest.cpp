// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/ByteText.h"

#include <QtTest>

#include <limits>

using namespace quillmount;
using namespace Qt::StringLiterals;

class ByteTextTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void text() {
        struct Case {
            qint64 bytes;
            QString expected;
        };
        const Case cases[] = {
            {-1, u"0 KB"_s},
            {0, u"0 KB"_s},
            {1, u"1 KB"_s},
            {1'499, u"1 KB"_s},
            {1'500, u"2 KB"_s},
            {999'499, u"999 KB"_s},
            {999'500, u"1 MB"_s},
            {999'950, u"1 MB"_s},
            {1'049'999, u"1 MB"_s},
            {2'500'000, u"2.5 MB"_s},
            {999'949'999, u"999.9 MB"_s},
            {999'950'000, u"1 GB"_s},
            {3'100'000'000, u"3.1 GB"_s},
            {1'005'000'000, u"1.01 GB"_s},
            {999'994'999'999, u"999.99 GB"_s},
            {999'995'000'000, u"1 TB"_s},
            {1'250'000'000'000, u"1.25 TB"_s},
            {std::numeric_limits<qint64>::max(), u"9223372.04 TB"_s},
        };
        for (const Case &expected : cases)
            QCOMPARE(byteText(expected.bytes), expected.expected);
    }
};

QTEST_APPLESS_MAIN(ByteTextTest)
#include "ByteTextTest.moc"
