// Whose a file is.
#include "platform/platform.h"

#include <aclapi.h>

namespace Tarn::Platform {

namespace {

// The owner of an open file. It is part of a descriptor, which is to be freed.
class Owner {
public:
    explicit Owner(HANDLE file) {
        if (GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr,
                            nullptr, &descriptor) != ERROR_SUCCESS)
            owner = nullptr;
    }
    ~Owner() { LocalFree(descriptor); }
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;

    bool IsSame(const Owner& other) const {
        return owner != nullptr && other.owner != nullptr && EqualSid(owner, other.owner) != 0;
    }

private:
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
};

} // namespace

BOOL HaveSameOwner(HANDLE a, HANDLE b) { return Owner(a).IsSame(Owner(b)); }

} // namespace Tarn::Platform
