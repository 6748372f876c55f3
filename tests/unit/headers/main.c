/* The test is that this program compiles. */
int main(void) {
    return 0;
}
