#include "app/Main.h"

int main(int argc, char **argv)
{
    return Main::exec(argc, argv);
}
