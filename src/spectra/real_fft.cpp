#include "spectra/real_fft.h"

#include <fftw3.h>

#include <bit>
#include <mutex>
#include <new>
#include <stdexcept>

namespace kymora {

namespace {

// Plans are made and taken down by one thread at a time; transforms run on any.
std::mutex& PlannerLock() {
    static std::mutex lock;
    return lock;
}

}  // namespace

struct RealFft::Plan {
    explicit Plan(size_t n) : length(n) {
        if (n < 2 || !std::has_single_bit(n)) throw std::invalid_argument(noFourierLengthText);
        input = fftw_alloc_real(n);
        output = fftw_alloc_complex(n / 2 + 1);
        if (input && output) {
            const std::lock_guard held(PlannerLock());
            plan =
                fftw_plan_dft_r2c_1d(static_cast<int>(n), input, output, FFTW_ESTIMATE | FFTW_PRESERVE_INPUT);
        }
        if (plan) return;
        Free();
        throw std::bad_alloc();
    }
    ~Plan() { Free(); }
    Plan(const Plan&) = delete;
    Plan& operator=(const Plan&) = delete;

    void Free() {
        if (plan) {
            const std::lock_guard held(PlannerLock());
            fftw_destroy_plan(plan);
        }
        fftw_free(input);
        fftw_free(output);
    }

    size_t length;
    double* input = nullptr;
    fftw_complex* output = nullptr;
    fftw_plan plan = nullptr;
};

RealFft::RealFft(size_t length) : plan_(std::make_unique<Plan>(length)) {}
RealFft::~RealFft() = default;
RealFft::RealFft(RealFft&&) noexcept = default;
RealFft& RealFft::operator=(RealFft&&) noexcept = default;

size_t RealFft::Length() const { return plan_->length; }

std::span<double> RealFft::Input() { return {plan_->input, plan_->length}; }

std::span<const std::complex<double>> RealFft::Forward() {
    fftw_execute(plan_->plan);
    return {reinterpret_cast<const std::complex<double>*>(plan_->output), plan_->length / 2 + 1};
}

}  // namespace kymora
