/* A library that is no plug-in. */
int Something(void);
int Something(void)
{
    return 0;
}
