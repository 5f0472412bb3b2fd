#include "platform/NodeExec.h"

int main(int argc, char** argv) {
    return runNodeExec(argc - 1, argv + 1);
}
