#include "KelvaraApp.h"

int main(int argc, char** argv)
{
    return runKelvara(argc, argv);
}
