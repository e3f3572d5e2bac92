// Every test program that uses the plug-in's code starts here.
#include "TestEnvironment.h"

int main(int argc, char** argv)
{
    return TestEnvironment::runAllTests(argc, argv);
}
