// NOLINTBEGIN(readability-identifier-naming): the names are FFTW's

/* The first SYMBOL_COUNT functions of those that are bound, in the order of binding; never called.
 */

void incompleteFftw(void);

void incompleteFftw(void) {}

#if SYMBOL_COUNT > 0
void fftw_plan_dft_r2c_1d(void);

void fftw_plan_dft_r2c_1d(void) {}
#endif

#if SYMBOL_COUNT > 1
void fftw_plan_dft_c2r_1d(void);

void fftw_plan_dft_c2r_1d(void) {}
#endif

#if SYMBOL_COUNT > 2
void fftw_plan_dft_1d(void);

void fftw_plan_dft_1d(void) {}
#endif

#if SYMBOL_COUNT > 3
void fftw_execute(void);

void fftw_execute(void) {}
#endif

#if SYMBOL_COUNT > 4
void fftw_destroy_plan(void);

void fftw_destroy_plan(void) {}
#endif

#if SYMBOL_COUNT > 5
void fftw_alloc_real(void);

void fftw_alloc_real(void) {}
#endif

// NOLINTEND(readability-identifier-naming)
