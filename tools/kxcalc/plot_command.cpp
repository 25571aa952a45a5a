namespace kxtool { int plotCommand(int, char**) { return 3; } }
