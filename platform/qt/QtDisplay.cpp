// The profile the desktop has set for the display, as Linux desktops publish it: on X11 as
// the root window's _ICC_PROFILE property (the convention of color managed X desktops), and
// through colord, the system's color manager, over D-Bus, whose first profile of a display
// is its default. The first that answers is taken; the program judges the bytes.
#include <QFile>
#include <QGuiApplication>
#include <cstring>

#ifdef VISTEL_HAVE_DBUS
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#endif

#ifdef VISTEL_HAVE_XCB
#include <QtGui/qguiapplication_platform.h>
#include <cstdlib>
#include <xcb/xcb.h>
#endif

#include "core/Memory.h"
#include "platform/qt/QtInternal.h"

// No display profile is this large; a larger answer is not one.
static const int32_t DISPLAY_PROFILE_MAX = 16 * 1024 * 1024;

// Copies length bytes into a new block for the caller; 0 when there is no room.
static int ProfileCopy(const void *data, int64_t length, uint8_t **bytes, int32_t *length32)
{
    if (length <= 0 || length > DISPLAY_PROFILE_MAX) return 0;
    *bytes = (uint8_t *)MemoryAlloc((size_t)length);
    if (*bytes == nullptr) return 0;
    memcpy(*bytes, data, (size_t)length);
    *length32 = (int32_t)length;
    return 1;
}

#ifdef VISTEL_HAVE_XCB
static int X11Profile(uint8_t **bytes, int32_t *length)
{
    auto *x11 = qGuiApp != nullptr ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>()
                                   : nullptr;
    xcb_connection_t *connection = x11 != nullptr ? x11->connection() : nullptr;
    if (connection == nullptr) return 0;
    static const char NAME[] = "_ICC_PROFILE"; // the first screen's; later ones add _1, _2 ...
    // Only an atom that exists: a desktop that never set a profile has none to give.
    xcb_intern_atom_reply_t *atom = xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 1, (uint16_t)strlen(NAME), NAME), nullptr);
    if (atom == nullptr) return 0;
    xcb_atom_t property = atom->atom;
    free(atom);
    if (property == XCB_ATOM_NONE) return 0;
    xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    if (screen == nullptr) return 0;
    xcb_get_property_reply_t *reply =
        xcb_get_property_reply(connection,
                               xcb_get_property(connection, 0, screen->root, property,
                                                XCB_ATOM_CARDINAL, 0, DISPLAY_PROFILE_MAX / 4),
                               nullptr);
    if (reply == nullptr) return 0;
    int found = reply->format == 8 && reply->bytes_after == 0 &&
                ProfileCopy(xcb_get_property_value(reply), xcb_get_property_value_length(reply),
                            bytes, length);
    free(reply);
    return found;
}
#endif

#ifdef VISTEL_HAVE_DBUS
static const char COLORD_SERVICE[] = "org.freedesktop.ColorManager";
static const int COLORD_WAIT = 500; // milliseconds a question to colord may take

// A property of a colord object, or an invalid value.
static QVariant ColordProperty(const QString &path, const char *interface, const char *name)
{
    QDBusMessage call = QDBusMessage::createMethodCall(COLORD_SERVICE, path,
                                                       "org.freedesktop.DBus.Properties", "Get");
    call << QString(interface) << QString(name);
    QDBusMessage reply = QDBusConnection::systemBus().call(call, QDBus::Block, COLORD_WAIT);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return QVariant();
    return qvariant_cast<QDBusVariant>(reply.arguments().first()).variant();
}

// Object paths from an answer that holds a list of them.
static QList<QDBusObjectPath> ObjectPaths(const QVariant &value)
{
    if (value.canConvert<QDBusArgument>())
        return qdbus_cast<QList<QDBusObjectPath>>(value.value<QDBusArgument>());
    return value.value<QList<QDBusObjectPath>>();
}

static int ColordProfile(uint8_t **bytes, int32_t *length)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) return 0;
    QDBusMessage call = QDBusMessage::createMethodCall(
        COLORD_SERVICE, "/org/freedesktop/ColorManager", COLORD_SERVICE, "GetDevicesByKind");
    call << QString("display");
    QDBusMessage reply = bus.call(call, QDBus::Block, COLORD_WAIT);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return 0;
    for (const QDBusObjectPath &device : ObjectPaths(reply.arguments().first())) {
        QList<QDBusObjectPath> profiles = ObjectPaths(
            ColordProperty(device.path(), "org.freedesktop.ColorManager.Device", "Profiles"));
        if (profiles.isEmpty()) continue;
        QString name = ColordProperty(profiles.first().path(),
                                      "org.freedesktop.ColorManager.Profile", "Filename")
                           .toString();
        QFile file(name);
        if (name.isEmpty() || !file.open(QIODevice::ReadOnly) || file.size() > DISPLAY_PROFILE_MAX)
            continue;
        QByteArray data = file.readAll();
        if (ProfileCopy(data.constData(), data.size(), bytes, length)) return 1;
    }
    return 0;
}
#endif

int PlatformDisplayProfile(uint8_t **bytes, int32_t *length)
{
    *bytes = nullptr;
    *length = 0;
#ifdef VISTEL_HAVE_XCB
    if (X11Profile(bytes, length)) return 1;
#endif
#ifdef VISTEL_HAVE_DBUS
    if (ColordProfile(bytes, length)) return 1;
#endif
    return 0;
}
