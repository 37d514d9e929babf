// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SecretStore.h"

#include <functional>
#include <memory>

using GCancellable = struct _GCancellable;
using GMainContext = struct _GMainContext;
using GDBusConnection = struct _GDBusConnection;
using SecretService = struct _SecretService;

namespace quillmount {

// Ends the calls of one client from another thread.
class Cancellation {
public:
    Cancellation();
    ~Cancellation();
    Q_DISABLE_COPY_MOVE(Cancellation)

    // May be called from any thread, at any time.
    void cancel();
    [[nodiscard]] GCancellable *get() const { return m_cancellable; }

private:
    GCancellable *m_cancellable;
};

// One conversation with the Secret Service, on the thread that makes it, with a connection to the session bus that ends
// with it: the service forgets the session then, and a service or bus that was started again is met afresh the next
// time. Calls block until they are answered or cancelled. Nothing is unlocked, and no dialog is asked for.
class SecretServiceClient {
public:
    explicit SecretServiceClient(const Cancellation &cancellation);
    ~SecretServiceClient();
    Q_DISABLE_COPY_MOVE(SecretServiceClient)

    // As the operations of `SecretStore`.
    [[nodiscard]] SecretStore::Lookup find(const QString &service, const QString &account);
    bool remove(const QString &service, const QString &account);
    bool add(const QString &service, const QString &account, const QByteArray &data);

private:
    [[nodiscard]] bool open();

    GCancellable *m_cancellable;
    GMainContext *m_context;
    GDBusConnection *m_bus = nullptr;
    SecretService *m_service = nullptr;
};

} // namespace quillmount
