// SPDX-License-Identifier: Apache-2.0
/* The test is that this program compiles. */
int main(void) {
    return 0;
}
