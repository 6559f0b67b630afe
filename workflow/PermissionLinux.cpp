#include "Permission.h"

namespace {

// An X session grants screen, camera and microphone access to every client;
// there is nothing to ask for and no settings page to open.
class PermissionLinux : public Permission
{
public:
    bool checkScreenPermission() override { return true; }
    bool checkVideoPermission() override { return true; }
    bool checkAudioPermission() override { return true; }
    void requestScreenPermission() override {}
    void requestVideoPermission() override {}
    void requestAudioPermission() override {}
    void openScreenPermission() override {}
    void openVideoPermission() override {}
    void openAudioPermission() override {}
};

} // namespace

Permission::Pointer Permission::create()
{
    return Pointer(new PermissionLinux());
}
