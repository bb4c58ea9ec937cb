// A library that does nothing but link GIO: the least that one with a D-Bus client takes.

#include <gio/gio.h>

__attribute__((visibility("default"))) GType TypeOfProxy()
{
    return g_dbus_proxy_get_type();
}
