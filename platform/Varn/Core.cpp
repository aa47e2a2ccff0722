#include <platform/ProductVersion_p.h>
#include <platform/Varn/Core.h>

QVersionNumber Varn::Core::Version::number()
{
    return QVersionNumber::fromString(::Platform::productVersion());
}
