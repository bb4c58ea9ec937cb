// The service operations and the encoding of their requests.

#include <DBusServiceClient.h>
#include <Log.h>

#include <climits>

#define LOG_UNIT "DBusServiceClient.cpp"

namespace {

/** Request codes; 4 and 5 are never sent. */
enum RequestCode {
    kExecute = 0,
    kRead = 1,
    kWrite = 2,
    kPathExists = 3,
    kGetFileFromNuf = 6,
    kSendFileToNuf = 7,
    kGetBootPartition = 8,
    kSetBootPartition = 9,
};

/** Stands for an operand that an operation does not have. */
const char* const kEmpty = "EMPTY";

constexpr int kNoTimeout = INT_MAX;  // as GLib reads it
constexpr int kProxyTimeout = -1;

void IntToGstring(const int& value, std::string& out)
{
    LOG_INFO("[VBMD][Client] value for conversion  =  [%d] of conversion ", value);
    out = std::to_string(value);
    LOG_INFO("[VBMD][Client] converted value [%s] ", out.c_str());
}

void CovertHexBuffToString(unsigned char* buf, int size, std::string& out)
{
    LOG_INFO("[VBMD][Client] size =  [%d] of conversion", size);
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (int i = 0; i < size; ++i) {
        out += kDigits[buf[i] >> 4];
        out += kDigits[buf[i] & 0xF];
    }
    LOG_INFO("[VBMD][Client] Final String %s  ", out.c_str());
}

}  // namespace

/** The four fields of a request; paths and commands go in verbatim. */
std::string DBusClient::RequestText(int code, const std::string& first, const std::string& second,
                                    const std::string& third)
{
    std::string request;
    IntToGstring(code, request);
    return request + mDelimiter + first + mDelimiter + second + mDelimiter + third;
}

void DBusClient::CreateESParam(const char* cmd, std::string& out)
{
    out += RequestText(kExecute, cmd, kEmpty, kEmpty);
}

void DBusClient::CreateReadBuffParam(const char* path, const int& size, std::string& out)
{
    std::string sizeText;
    IntToGstring(size, sizeText);
    out += RequestText(kRead, path, sizeText, kEmpty);
}

void DBusClient::CreateWiteBuffParam(const char* path, const int& size, unsigned char* buf, std::string& out)
{
    std::string sizeText;
    IntToGstring(size, sizeText);
    std::string hex;
    CovertHexBuffToString(buf, size, hex);
    out += RequestText(kWrite, path, sizeText, hex);
    LOG_INFO("[VBMD] [Client] : Buff sending : %s ", out.c_str());
}

int DBusClient::ConvertHexToint(char c)
{
    const int digit = g_ascii_xdigit_value(c);
    return digit < 0 ? 0 : digit;
}

void DBusClient::ConvertStrToUchar(char* text, const int& length, unsigned char* out)
{
    for (int i = 0; i < length; i += 2) {
        out[i / 2] = static_cast<unsigned char>(ConvertHexToint(text[i]) * 16 + ConvertHexToint(text[i + 1]));
    }
}

int DBusClient::SendCmdToServer(const char* cmd)
{
    mStatus = -1;
    if (cmd == nullptr) {
        return -1;
    }
    std::optional<std::string> request;
    if (mConnected) {
        CreateESParam(cmd, request.emplace());
    }
    Exchange(__func__, request, kNoTimeout);
    return mStatus;
}

bool DBusClient::ReadOnServer(const char* path, const int& size, unsigned char* buf)
{
    if (path == nullptr || buf == nullptr) {
        LOG_ERROR("[VBMD] Client : Buff send by Caller is NULL");
        return false;
    }
    std::optional<std::string> request;
    if (mConnected) {
        CreateReadBuffParam(path, size, request.emplace());
        mReadBuff = buf;
        mReadSize = size;
    }
    Exchange(__func__, request, kProxyTimeout);
    return true;  // whatever the service answered: callers judge by what is in the buffer
}

bool DBusClient::ReadOnServer(const std::string& path, const int& size, unsigned char* buf)
{
    return ReadOnServer(path.c_str(), size, buf);
}

int DBusClient::WriteOnServer(const char* path, const int& size, unsigned char* buf)
{
    mStatus = -1;
    if (path == nullptr || buf == nullptr) {
        LOG_ERROR("[VBMD] Client : Buff  / PATH send by Caller is NULL");
        return -1;
    }
    std::optional<std::string> request;
    if (mConnected) {
        CreateWiteBuffParam(path, size, buf, request.emplace());
    }
    Exchange(__func__, request, kProxyTimeout);
    return mStatus;
}

/** Sends a request of at most one operand and gives the status of its reply. */
int DBusClient::StatusOf(const char* operation, int code, const std::string& first, int timeoutMs)
{
    mStatus = -1;
    std::optional<std::string> request;
    if (mConnected) {
        request = RequestText(code, first, kEmpty, kEmpty);
    }
    Exchange(operation, request, timeoutMs);
    return mStatus;
}

int DBusClient::PathExists(const char* path)
{
    if (path == nullptr) {
        mStatus = -1;
        LOG_ERROR("[VBMD] Client : Buff  / PATH send by Caller is NULL");
        return -1;
    }
    return StatusOf(__func__, kPathExists, path, kProxyTimeout);
}

int DBusClient::GetFileFromNUF()
{
    return StatusOf(__func__, kGetFileFromNuf, kEmpty, kNoTimeout);
}

int DBusClient::SendFileToNUF()
{
    return StatusOf(__func__, kSendFileToNuf, kEmpty, kNoTimeout);
}

int DBusClient::SetBootPartition(int partition)
{
    std::string number;
    if (mConnected) {
        IntToGstring(partition, number);
    }
    return StatusOf(__func__, kSetBootPartition, number, kNoTimeout);
}

int DBusClient::GetBootPartition(int* partition)
{
    mValue = -1;
    const int status = StatusOf(__func__, kGetBootPartition, kEmpty, kNoTimeout);
    *partition = mValue;
    return status;
}
