// A migration service that carries nothing out and answers at once, so that what is measured is the call.

#include <dbus/dbus.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "ServiceRequest.h"

namespace {

/** What a service that has done all it was asked answers: the request's own code, then status, count or bytes. */
std::string Answer(const std::string& request)
{
    switch (std::atoi(request.c_str())) {
        case 1:
            return "1:6:0A0B0C0D0E0F";
        case 2:
            return "2:6";
        default:
            return request.substr(0, request.find(':')) + ":0";
    }
}

bool AnswerCall(DBusConnection* connection, DBusMessage* call)
{
    const char* request = nullptr;
    if (!dbus_message_get_args(call, nullptr, DBUS_TYPE_STRING, &request, DBUS_TYPE_INVALID)) return false;
    const std::string text = Answer(request);
    const char* const answer = text.c_str();
    DBusMessage* const reply = dbus_message_new_method_return(call);
    dbus_message_append_args(reply, DBUS_TYPE_STRING, &answer, DBUS_TYPE_INVALID);
    dbus_connection_send(connection, reply, nullptr);
    dbus_message_unref(reply);
    return true;
}

DBusHandlerResult OnMessage(DBusConnection* connection, DBusMessage* message, void*)
{
    const bool isCall = dbus_message_is_method_call(message, bench::kServiceName, bench::kServiceMethod) != 0;
    return isCall && AnswerCall(connection, message) ? DBUS_HANDLER_RESULT_HANDLED
                                                     : DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
}

}  // namespace

/** @param values  [1] is a descriptor that is told when the service can be called */
int main(int count, char** values)
{
    if (count != 2) return 2;
    DBusConnection* const connection = dbus_bus_get(DBUS_BUS_SYSTEM, nullptr);
    if (connection == nullptr || dbus_bus_request_name(connection, bench::kServiceName, 0, nullptr) < 0) return 1;
    dbus_connection_add_filter(connection, OnMessage, nullptr, nullptr);
    dprintf(std::atoi(values[1]), "ready\n");
    close(std::atoi(values[1]));
    while (dbus_connection_read_write_dispatch(connection, -1) != 0) {
    }
    return 0;
}
