// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/CoreFiles.h"

#include <algorithm>
#include <sys/resource.h>

namespace quillmount {

namespace {

rlim_t formerLimit = RLIM_INFINITY;

void setSoftLimit(rlim_t soft) {
    rlimit limit = {};
    if (::getrlimit(RLIMIT_CORE, &limit) != 0)
        return;
    limit.rlim_cur = std::min(soft, limit.rlim_max);
    ::setrlimit(RLIMIT_CORE, &limit);
}

} // namespace

void disableCoreFiles() {
    rlimit limit = {};
    if (::getrlimit(RLIMIT_CORE, &limit) == 0)
        formerLimit = limit.rlim_cur;
    // Of 1 byte: a handler that core files are piped to gets them with the limit 0, but not with this one. The hard
    // limit stays, or no child could be given the former one back.
    setSoftLimit(1);
}

void restoreCoreFiles() {
    setSoftLimit(formerLimit);
}

} // namespace quillmount
