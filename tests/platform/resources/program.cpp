// An executable with resources, which the dynamic linker won't load into
// another program: LoadLibrary maps it for its resources.
int main() { return 0; }
