#include "Startup.h"

int main(int argc, char** argv)
{
    return runOrlune(argc, argv);
}
