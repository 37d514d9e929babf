// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/Brand.h"

#include "Platform/Platform.h"

namespace quillmount {

using namespace Qt::StringLiterals;

QString Brand::version() {
    return Platform::current().bundle->infoString(u"CFBundleShortVersionString"_s).value_or(u"1.0"_s);
}

} // namespace quillmount
