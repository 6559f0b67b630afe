#include "MachineProfile.h"

#include <cpuid.h>
#include <cstring>

namespace {

struct CpuSignature
{
    int family = 0;
    int model = 0;
};

// Leaf 1: base family in bits 8-11, base model in bits 4-7, with the extended
// fields added where the vendors define them.
CpuSignature readSignature()
{
    CpuSignature signature;
    unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx))
        return signature;
    const int baseFamily = (eax >> 8) & 0xf;
    const int baseModel = (eax >> 4) & 0xf;
    signature.family = baseFamily;
    if (baseFamily == 15)
        signature.family += (eax >> 20) & 0xff;
    signature.model = baseModel;
    if (baseFamily == 4 || baseFamily == 6)
        signature.model += ((eax >> 16) & 0xf) << 4;
    return signature;
}

} // namespace

int cpuFamily()
{
    return readSignature().family;
}

int cpuModel()
{
    return readSignature().model;
}

// Leaf 0: the vendor text is EBX, EDX, ECX in that order.
void cpuVendor(char vendor[13])
{
    unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
    memset(vendor, 0, 13);
    if (!__get_cpuid(0, &eax, &ebx, &ecx, &edx))
        return;
    memcpy(vendor, &ebx, 4);
    memcpy(vendor + 4, &edx, 4);
    memcpy(vendor + 8, &ecx, 4);
}
