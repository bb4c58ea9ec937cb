// Many calls of the service client take no more memory and no more descriptors than a few.

#include <DBusServiceClient.h>
#include <TestSet.h>

#include <malloc.h>

#include <cstddef>
#include <functional>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
extern "C" std::size_t __sanitizer_get_current_allocated_bytes(void);  // not every compiler brings the header
#endif

namespace {

long AllocatedBytes()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return static_cast<long>(__sanitizer_get_current_allocated_bytes());
#else
    return static_cast<long>(mallinfo2().uordblks);
#endif
}

long OpenDescriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

class ServiceMemory : public OnSet {
 protected:
    /** Bytes that this many calls keep, after some that settle what is made once. */
    static long BytesKeptBy(int calls, const std::function<void()>& call)
    {
        for (int i = 0; i < 500; ++i) {
            call();
        }
        const long before = AllocatedBytes();
        for (int i = 0; i < calls; ++i) {
            call();
        }
        return AllocatedBytes() - before;
    }
};

/** All operations once. */
void CallEverything()
{
    DBusClient& client = *DBusClient::Instance();
    unsigned char bytes[6] = {1, 2, 3, 4, 5, 6};
    client.SendCmdToServer("/bin/spi_init.sh mount migration");
    client.ReadOnServer("/dev/mtdblock3", 6, bytes);
    client.WriteOnServer("/dev/mtdblock3", 6, bytes);
    client.PathExists("/dev/mtdblock3");
}

}  // namespace

TEST_F(ServiceMemory, IsFlatWithoutABus)
{
    // Off the set, where nothing is logged: it is the client's memory that counts. One lost byte a call would show.
    EXPECT_LT(BytesKeptBy(5000, CallEverything), 20000);
}

TEST_F(ServiceMemory, IsFlatWithAService)
{
    Start();
    StartService();
    const long descriptors = OpenDescriptors();
    const auto call = [] {
        unsigned char bytes[6] = {};
        DBusClient::Instance()->ReadOnServer("/dev/mtdblock3", 6, bytes);
        DBusClient::Instance()->PathExists("/dev/mtdblock3");
    };
    call();
    const long connected = OpenDescriptors();
    EXPECT_GT(connected, descriptors);
    EXPECT_LT(BytesKeptBy(1000, call), 16000);  // less than a main loop takes, each call
    EXPECT_EQ(OpenDescriptors(), connected);
}
