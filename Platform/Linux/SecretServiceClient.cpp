// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/SecretServiceClient.h"

#include "Platform/Linux/PlatformLog.h"

#include <libsecret/secret.h>

namespace quillmount {

namespace {

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
struct UnrefTable {
    void operator()(GHashTable *table) const { g_hash_table_unref(table); }
};
struct UnrefValue {
    void operator()(SecretValue *value) const { secret_value_unref(value); }
};
struct FreeItems {
    void operator()(GList *items) const { g_list_free_full(items, g_object_unref); }
};
using Items = std::unique_ptr<GList, FreeItems>;
using Attributes = std::unique_ptr<GHashTable, UnrefTable>;

// Receives the error of one call; says it, if there was one.
class Error {
public:
    explicit Error(const char *what)
        : m_what(what) {}
    ~Error() {
        if (!m_error)
            return;
        qCInfo(platformLog, "secret service: %s: %s", m_what, m_error->message);
        g_error_free(m_error);
    }
    Q_DISABLE_COPY_MOVE(Error)

    [[nodiscard]] GError **out() { return &m_error; }
    [[nodiscard]] bool occurred() const { return m_error != nullptr; }

private:
    const char *m_what;
    GError *m_error = nullptr;
};

const SecretSchema &schema() {
    static const SecretSchema schema = [] {
        SecretSchema made{};
        made.name = "com.orvane.quillmount";
        made.flags = SECRET_SCHEMA_NONE;
        made.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
        made.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
        return made;
    }();
    return schema;
}

Attributes attributes(const QString &service, const QString &account) {
    return Attributes(secret_attributes_build(&schema(), "service", service.toUtf8().constData(), "account",
                                              account.toUtf8().constData(), nullptr));
}

// A service may answer any change with a prompt that is still to be shown. Nobody has asked for a dialog here, so the
// answer to every prompt is that it cannot be.
constexpr auto promptRefused = "the service wants to ask the user";

GVariant *refusePrompt(SecretService *, SecretPrompt *, GCancellable *, const GVariantType *, GError **error) {
    g_set_error_literal(error, SECRET_ERROR, SECRET_ERROR_IS_LOCKED, promptRefused);
    return nullptr;
}

void startRefusingPrompt(SecretService *service, SecretPrompt *, const GVariantType *, GCancellable *cancellable,
                         GAsyncReadyCallback callback, gpointer data) {
    GTask *task = g_task_new(service, cancellable, callback, data);
    g_task_return_new_error(task, SECRET_ERROR, SECRET_ERROR_IS_LOCKED, promptRefused);
    g_object_unref(task);
}

GVariant *finishRefusingPrompt(SecretService *, GAsyncResult *result, GError **error) {
    return static_cast<GVariant *>(g_task_propagate_pointer(G_TASK(result), error));
}

GType promptlessServiceType() {
    static const GType type = g_type_register_static_simple(
        SECRET_TYPE_SERVICE, "QuillmountPromptlessSecretService", sizeof(SecretServiceClass),
        [](gpointer classPointer, gpointer) {
            auto *operations = static_cast<SecretServiceClass *>(classPointer);
            operations->prompt_sync = refusePrompt;
            operations->prompt_async = startRefusingPrompt;
            operations->prompt_finish = finishRefusingPrompt;
        },
        sizeof(SecretService), nullptr, G_TYPE_FLAG_NONE);
    return type;
}

} // namespace

Cancellation::Cancellation()
    : m_cancellable(g_cancellable_new()) {}

Cancellation::~Cancellation() {
    g_object_unref(m_cancellable);
}

void Cancellation::cancel() {
    g_cancellable_cancel(m_cancellable);
}

SecretServiceClient::SecretServiceClient(const Cancellation &cancellation)
    : m_cancellable(cancellation.get())
    , m_context(g_main_context_new()) {
    g_main_context_push_thread_default(m_context);
}

SecretServiceClient::~SecretServiceClient() {
    if (m_service)
        g_object_unref(m_service);
    if (m_bus)
        g_object_unref(m_bus);
    // What the objects left to be done holds references to the connection.
    while (g_main_context_iteration(m_context, FALSE)) {
    }
    g_main_context_pop_thread_default(m_context);
    g_main_context_unref(m_context);
}

bool SecretServiceClient::open() {
    if (m_service)
        return true;
    Error noBus("no session bus");
    m_bus = g_bus_get_sync(G_BUS_TYPE_SESSION, m_cancellable, noBus.out());
    if (!m_bus)
        return false;
    // The library would end the whole program together with the bus.
    g_dbus_connection_set_exit_on_close(m_bus, FALSE);
    Error noService("not reachable");
    m_service =
        secret_service_open_sync(promptlessServiceType(), nullptr, SECRET_SERVICE_NONE, m_cancellable, noService.out());
    return m_service != nullptr;
}

SecretStore::Lookup SecretServiceClient::find(const QString &service, const QString &account) {
    SecretStore::Lookup newest;
    if (!open())
        return newest;
    Error error("search");
    const Items items(secret_service_search_sync(
        m_service, &schema(), attributes(service, account).get(),
        static_cast<SecretSearchFlags>(SECRET_SEARCH_ALL | SECRET_SEARCH_LOAD_SECRETS), m_cancellable, error.out()));
    newest.isCertain = !error.occurred();
    guint64 newestTime = 0;
    for (const GList *entry = items.get(); entry; entry = entry->next) {
        auto *item = SECRET_ITEM(entry->data);
        if (secret_item_get_locked(item)) {
            newest.isCertain = false;
            continue;
        }
        const std::unique_ptr<SecretValue, UnrefValue> value(secret_item_get_secret(item));
        const guint64 time = secret_item_get_modified(item);
        if (!value || (newest.data && time <= newestTime))
            continue;
        gsize length = 0;
        const char *data = secret_value_get(value.get(), &length);
        newest.data = QByteArray(data, static_cast<qsizetype>(length));
        newestTime = time;
    }
    return newest;
}

bool SecretServiceClient::remove(const QString &service, const QString &account) {
    if (!open())
        return false;
    Error error("search");
    const Items items(secret_service_search_sync(m_service, &schema(), attributes(service, account).get(),
                                                 SECRET_SEARCH_ALL, m_cancellable, error.out()));
    bool allGone = !error.occurred();
    for (const GList *entry = items.get(); entry; entry = entry->next) {
        auto *item = SECRET_ITEM(entry->data);
        Error notRemoved("removal");
        if (secret_item_get_locked(item) || !secret_item_delete_sync(item, m_cancellable, notRemoved.out()))
            allGone = false;
    }
    return allGone;
}

bool SecretServiceClient::add(const QString &service, const QString &account, const QByteArray &data) {
    if (!open())
        return false;
    Error noCollection("the default collection");
    const std::unique_ptr<SecretCollection, Unref> collection(secret_collection_for_alias_sync(
        m_service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, m_cancellable, noCollection.out()));
    if (!collection || secret_collection_get_locked(collection.get()))
        return false;
    const std::unique_ptr<SecretValue, UnrefValue> value(secret_value_new(data.constData(), data.size(), "text/plain"));
    const QByteArray label = "Quillmount: " + account.toUtf8();
    Error notKept("adding");
    const std::unique_ptr<SecretItem, Unref> item(
        secret_item_create_sync(collection.get(), &schema(), attributes(service, account).get(), label.constData(),
                                value.get(), SECRET_ITEM_CREATE_REPLACE, m_cancellable, notKept.out()));
    return item != nullptr;
}

} // namespace quillmount
