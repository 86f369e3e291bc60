// Stands in for a new version that is a program and yet does not come up.

int main() { return 1; }
