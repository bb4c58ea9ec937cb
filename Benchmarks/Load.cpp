// A fresh process that loads what it is linked with and ends.

int main()
{
    return 0;
}
