// SPDX-License-Identifier: MIT
// The program whose headers all tests use precompiled.
int main()
{
    return 0;
}
