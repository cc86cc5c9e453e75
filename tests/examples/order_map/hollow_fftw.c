/* A library of FFTW's file name that has none of its functions. */
int hollowFftw(void);

int hollowFftw(void)
{
    return 0;
}
