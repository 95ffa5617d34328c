/* The floor: a process that does nothing. */

int main(void) {
    return 0;
}
