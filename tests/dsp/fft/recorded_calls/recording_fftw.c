#include "recording_fftw.h"

#include <fftw3.h>

struct RecordingFftw recordingFftw = {0, 0, -1};

/* Memory is handed out once and never again, so that two buffers never have one address. */
static double pool[1 << 16];
static size_t poolUsed = 0;
static char plans[1024];
static size_t planCount = 0;

static void tell(struct FftwCall call)
{
    if (recordingFftw.observe) recordingFftw.observe(&call);
}

static fftw_plan newPlan(struct FftwCall call)
{
    call.result = recordingFftw.plansFail ? 0 : &plans[planCount++];
    tell(call);
    return (fftw_plan)call.result;
}

fftw_plan fftw_plan_dft_r2c_1d(int n, double* in, fftw_complex* out, unsigned flags)
{
    const struct FftwCall call = {"plan_dft_r2c_1d", n, in, out, 0, 0, flags};
    return newPlan(call);
}

fftw_plan fftw_plan_dft_c2r_1d(int n, fftw_complex* in, double* out, unsigned flags)
{
    const struct FftwCall call = {"plan_dft_c2r_1d", n, in, out, 0, 0, flags};
    return newPlan(call);
}

fftw_plan fftw_plan_dft_1d(int n, fftw_complex* in, fftw_complex* out, int sign, unsigned flags)
{
    const struct FftwCall call = {"plan_dft_1d", n, in, out, 0, sign, flags};
    return newPlan(call);
}

void fftw_execute(const fftw_plan plan)
{
    const struct FftwCall call = {"execute", 0, plan, 0, 0, 0, 0};
    tell(call);
}

void fftw_destroy_plan(fftw_plan plan)
{
    const struct FftwCall call = {"destroy_plan", 0, plan, 0, 0, 0, 0};
    tell(call);
}

double* fftw_alloc_real(size_t n)
{
    double* memory = 0;
    if (recordingFftw.allocationsLeft != 0) {
        if (recordingFftw.allocationsLeft > 0) --recordingFftw.allocationsLeft;
        memory = pool + poolUsed;
        poolUsed += n;
    }
    const struct FftwCall call = {"alloc_real", (long long)n, 0, 0, memory, 0, 0};
    tell(call);
    return memory;
}

void fftw_free(void* memory)
{
    const struct FftwCall call = {"free", 0, memory, 0, 0, 0, 0};
    tell(call);
}
