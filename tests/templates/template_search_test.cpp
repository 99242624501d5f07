// The search for a template, held against the rules as they are written down: every measure of every step in
// full, then the runs of steps, then the overlaps.

#include "templates/template_search.h"

#include <cmath>
#include <deque>
#include <random>

#include "numerics/window_distances.h"
#include "spectra/interpolate_fft.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

using Samples = std::vector<float>;

// --- the plain form ---

struct PlainEvent {
    int64_t on, off;
    double value;
};

double PlainHeight(const Samples& t) {
    return static_cast<double>(*std::ranges::max_element(t)) - *std::ranges::min_element(t);
}

float PlainError(const Samples& t, const Samples& x, size_t k) {
    double sum = 0.0;
    for (size_t i = 0; i < t.size(); ++i) sum += std::abs(double{x[k + i]} - double{t[i]});
    return static_cast<float>(sum / (static_cast<double>(t.size()) * PlainHeight(t) / 2.0 / 100.0));
}

struct PlainFit {
    long double scale, offset, criterion;
};

PlainFit PlainCriterion(const Samples& t, const Samples& x, size_t k) {
    const auto m = static_cast<long double>(t.size());
    const auto height = static_cast<long double>(PlainHeight(t));
    long double se = 0, see = 0, sd = 0, sdd = 0, sed = 0;
    for (size_t i = 0; i < t.size(); ++i) {
        const long double e = t[i] / height, d = x[k + i];
        se += e, see += e * e, sd += d, sdd += d * d, sed += e * d;
    }
    PlainFit fit{};
    fit.scale = (sed - se * sd / m) / (see - se * se / m);
    fit.offset = (sd - fit.scale * se) / m;
    long double sse = fit.scale * fit.scale * see + sdd + m * fit.offset * fit.offset -
                      2 * (fit.scale * sed + fit.offset * sd - fit.scale * fit.offset * se);
    if (sse < 1e-6L) sse = 1e-6L;
    fit.criterion = fit.scale / std::sqrt(sse / (m - 1));
    return fit;
}

// The rule of the best step of a run, then that of overlaps, over a trace without gaps; M is 1.
std::vector<PlainEvent> PlainSearch(Samples t, const Samples& x, TemplateType type, float threshold,
                                    size_t n) {
    const bool larger = type == TemplateType::scaled;
    const auto better = [&](double a, double b) { return larger ? a > b : a < b; };
    std::vector<PlainEvent> events;
    std::deque<std::pair<size_t, Samples>> ring;  // with the number of the event's making
    size_t made = 0, last = 0;
    std::optional<std::pair<size_t, double>> best;
    for (size_t k = 0; k + t.size() <= x.size(); ++k) {
        const double value = larger
                                 ? static_cast<double>(static_cast<float>(PlainCriterion(t, x, k).criterion))
                                 : PlainError(t, x, k);
        if (better(value, threshold)) {
            if (!best || better(value, best->second)) best = {k, value};
            continue;
        }
        if (!best) continue;
        const auto [at, itsValue] = *best;
        best.reset();
        const PlainEvent event{static_cast<int64_t>(at), static_cast<int64_t>(at + t.size()), itsValue};
        if (!events.empty() && event.on < events.back().off) {
            if (!better(event.value, events.back().value)) continue;
            events.back() = event;
            if (!ring.empty() && ring.back().first == last) ring.pop_back();
        } else {
            events.push_back(event);
        }
        if (type != TemplateType::adaptive) continue;
        last = ++made;
        if (ring.size() == n) ring.pop_front();
        const auto from = x.begin() + static_cast<std::ptrdiff_t>(at);
        ring.emplace_back(last, Samples(from, from + static_cast<std::ptrdiff_t>(t.size())));
        if (ring.size() < n) continue;
        for (size_t i = 0; i < t.size(); ++i) {
            double sum = 0.0;
            for (const auto& [number, wave] : ring) sum += wave[i];
            t[i] = static_cast<float>(sum / static_cast<double>(n));
        }
    }
    return events;
}

// --- recordings ---

Samples Bump(size_t size, float height = 1.0f) {
    Samples t(size);
    for (size_t i = 0; i < size; ++i) {
        const double phase = static_cast<double>(i) / static_cast<double>(size - 1);
        t[i] = height * static_cast<float>(std::sin(6.2831853 * phase) * std::exp(-3.0 * phase));
    }
    return t;
}

Samples NoisyBumps(size_t length, const Samples& bump, unsigned seed, float noise) {
    std::mt19937 random(seed);
    std::normal_distribution<float> normal(0.0f, noise);
    std::uniform_real_distribution<float> size(0.7f, 1.4f);
    Samples x(length);
    for (float& v : x) v = normal(random);
    for (size_t at = 50; at + bump.size() < length; at += bump.size() / 2 + random() % (2 * bump.size())) {
        const float scale = size(random);
        for (size_t i = 0; i < bump.size(); ++i) x[at + i] += scale * bump[i];
    }
    return x;
}

struct TemplateSearchTest : SessionTest {
    SearchFound Find(CDataDoc& doc, const TemplateSearch& search, SampleSpan region, SearchWatch watch = {}) {
        RaisedTrace raised(doc, 0, UnbrokenStretches(doc, 0), search.multiplier, 10);
        UnheardContext context;
        ProgressScope progress(context, "search", 1);
        return SearchTrace(raised, region, search, progress, watch);
    }
    SearchFound Find(const Samples& x, const TemplateSearch& search, SearchWatch watch = {}) {
        const auto doc = MemoryDoc::Make(session, {x});
        return Find(*doc, search, {0, static_cast<int32_t>(x.size())}, std::move(watch));
    }
};

TemplateSearch SearchOf(const Samples& t, TemplateType type, float threshold, int average = 8) {
    return {t, 1, static_cast<int32_t>(t.size()), type, threshold, average};
}

// --- tests ---

TEST_F(TemplateSearchTest, FindsWhatTheRulesSayStepByStep) {
    struct Case {
        const char* name;
        size_t bins;
        TemplateType type;
        float threshold;
        int average;
    };
    const Case cases[] = {{"fixed", 30, TemplateType::fixed, 35.0f, 8},
                          {"fixed, where nearly all matches", 30, TemplateType::fixed, 70.0f, 8},
                          {"adaptive", 24, TemplateType::adaptive, 40.0f, 4},
                          {"adaptive, the last match alone", 24, TemplateType::adaptive, 45.0f, 1},
                          {"scaled", 30, TemplateType::scaled, 3.0f, 8},
                          {"scaled, of 255 bins", 255, TemplateType::scaled, 5.0f, 8},
                          {"scaled, by transforms", 300, TemplateType::scaled, 5.0f, 8},
                          {"scaled, below zero", 40, TemplateType::scaled, -1.0f, 8}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Samples bump = Bump(c.bins);
        const Samples x = NoisyBumps(40000, bump, 7, 0.15f);
        const auto plain = PlainSearch(bump, x, c.type, c.threshold, static_cast<size_t>(c.average));
        ASSERT_GT(plain.size(), 10u);
        for (const bool watches : {false, true}) {
            SearchWatch watch;
            if (watches) watch.measures = [](const MeasuredSteps&) {};
            const SearchFound found = Find(x, SearchOf(bump, c.type, c.threshold, c.average), watch);
            ASSERT_EQ(found.matches.size(), plain.size());
            for (size_t i = 0; i < plain.size(); ++i) {
                EXPECT_EQ(found.matches[i].on, plain[i].on);
                EXPECT_EQ(found.matches[i].off, plain[i].off);
                EXPECT_NEAR(found.matches[i].value, plain[i].value, 1e-5 * std::abs(plain[i].value));
            }
        }
    }
}

TEST_F(TemplateSearchTest, MeasuresAreThoseOfTheFormulas) {
    const float offsets[] = {0.0f, 1000.0f};
    for (const size_t bins : {6u, 61u, 256u, 257u, 700u})
        for (const float offset : offsets) {
            SCOPED_TRACE(testing::Message() << bins << " bins, offset " << offset);
            const Samples t = Bump(bins, 3.0f);
            Samples x = NoisyBumps(5000, t, 3, 0.5f);
            for (float& v : x) v += offset;
            Samples errors, criteria;
            SearchWatch watch;
            watch.measures = [&](const MeasuredSteps& s) {
                errors.insert(errors.end(), s.values.begin(), s.values.end());
            };
            Find(x, SearchOf(t, TemplateType::fixed, 25.0f), watch);
            watch.measures = [&](const MeasuredSteps& s) {
                criteria.insert(criteria.end(), s.values.begin(), s.values.end());
            };
            Find(x, SearchOf(t, TemplateType::scaled, 4.0f), watch);
            ASSERT_EQ(errors.size(), x.size() - bins + 1);
            ASSERT_EQ(criteria.size(), errors.size());
            const ScaledTemplate scaled(t);
            for (size_t k = 0; k < errors.size(); k += 7) {
                ASSERT_EQ(errors[k], PlainError(t, x, k));
                const PlainFit plain = PlainCriterion(t, x, k);
                const auto expected = static_cast<double>(plain.criterion);
                ASSERT_NEAR(criteria[k], expected, 2e-6 * (1.0 + std::abs(expected))) << k;
                const TemplateFit fit = scaled.FitOf(std::span(x).subspan(k, bins));
                ASSERT_NEAR(fit.scale, static_cast<double>(plain.scale), 1e-9 * (1.0 + std::abs(offset)));
                ASSERT_NEAR(fit.offset, static_cast<double>(plain.offset), 1e-9 * (1.0 + std::abs(offset)));
            }
        }
}

// Running sums have no digits for the others while it is in the window.
TEST_F(TemplateSearchTest, OneHugeSampleSpoilsOnlyTheWindowsThatHoldIt) {
    const Samples bump = Bump(40);
    for (const float huge : {1e9f, 1e15f, -3e38f}) {
        Samples x = NoisyBumps(5000, bump, 7, 0.15f);
        x[1024] = huge;
        const auto plain = PlainSearch(bump, x, TemplateType::scaled, 3.0f, 8);
        ASSERT_GT(plain.size(), 10u);
        const SearchFound found = Find(x, SearchOf(bump, TemplateType::scaled, 3.0f));
        ASSERT_EQ(found.matches.size(), plain.size()) << huge;
        for (size_t i = 0; i < plain.size(); ++i) EXPECT_EQ(found.matches[i].on, plain[i].on) << huge;
    }
}

// Nor has a transform: samples of all sizes, and none at all, lie in one stretch of it.
TEST_F(TemplateSearchTest, ATransformKeepsTheDigitsOfSmallSamplesBesideGreatOnes) {
    const Samples bump = Bump(300);
    const Samples noise = NoisyBumps(9000, bump, 7, 0.15f);
    for (const bool isStepped : {false, true}) {
        Samples x = noise;
        if (isStepped) {
            for (size_t i = 0; i < x.size(); ++i)
                x[i] *= i < 2000 ? 1.0f : i < 4000 ? 1e20f : i < 5000 ? 0.0f : i < 7000 ? 1e9f : 100.0f;
        } else {
            x[4500] = 3e38f;
        }
        Samples criteria;
        SearchWatch watch;
        watch.measures = [&](const MeasuredSteps& s) {
            criteria.insert(criteria.end(), s.values.begin(), s.values.end());
        };
        // No step is near the threshold, so that none is summed in full.
        const SearchFound found = Find(x, SearchOf(bump, TemplateType::scaled, 1e9f), watch);
        ASSERT_EQ(criteria.size(), x.size() - 299);
        const ScaledTemplate scaled(bump);
        for (size_t k = 0; k < criteria.size(); k += 13) {
            const float direct = scaled.FitOf(std::span(x).subspan(k, 300)).criterion;
            ASSERT_NEAR(criteria[k], direct, 2e-6 * (1.0 + std::abs(direct))) << isStepped << " " << k;
        }
        EXPECT_EQ(found.stepsAtFloor > 0, isStepped);
    }
}

// So many steps pass that not all of them are summed in full: a long template of noise, in noise and copies.
TEST_F(TemplateSearchTest, ALongTemplateThatPassesEverywhereFindsTheSameBestSteps) {
    std::mt19937 random(11);
    std::normal_distribution<float> normal;
    Samples t(3000), x(20000);
    for (float& v : t) v = normal(random);
    for (float& v : x) v = normal(random);
    for (const size_t at : {2000u, 9000u, 16000u})
        for (size_t i = 0; i < t.size(); ++i) x[at + i] += t[i];
    Samples criteria;
    SearchWatch watch;
    watch.measures = [&](const MeasuredSteps& s) {
        criteria.insert(criteria.end(), s.values.begin(), s.values.end());
    };
    const SearchFound found = Find(x, SearchOf(t, TemplateType::scaled, 0.0f), watch);
    ASSERT_EQ(criteria.size(), x.size() - t.size() + 1);
    ASSERT_GT(std::ranges::count_if(criteria, [](float v) { return v > 0.0f; }), 8000);
    for (size_t k = 0; k < criteria.size(); k += 61)
        ASSERT_NEAR(criteria[k], static_cast<double>(PlainCriterion(t, x, k).criterion), 2e-6) << k;
    const auto plain = PlainSearch(t, x, TemplateType::scaled, 0.0f, 8);
    ASSERT_EQ(found.matches.size(), plain.size());
    for (size_t i = 0; i < plain.size(); ++i) EXPECT_EQ(found.matches[i].on, plain[i].on) << i;
}

TEST_F(TemplateSearchTest, EveryInstructionSetGivesTheSameBits) {
    const Samples t = Bump(37);
    const Samples x = NoisyBumps(3000, t, 5, 0.3f);
    const std::vector<double> row(t.begin(), t.end()), wide(x.begin(), x.end());
    std::vector<double> common(x.size() - t.size() + 1), other(common.size());
    for (const double limit : {std::numeric_limits<double>::infinity(), 5.0}) {
        WindowDistances(row, wide, common, limit, InstructionSet::common);
        for (const InstructionSet set : {InstructionSet::avx2, InstructionSet::avx512}) {
            if (set > WidestInstructionSet()) continue;
            WindowDistances(row, wide, other, limit, set);
            for (size_t k = 0; k < common.size(); ++k) {
                // A window above the limit may be left at different places.
                if (common[k] > limit)
                    EXPECT_GT(other[k], limit);
                else
                    EXPECT_EQ(common[k], other[k]);
            }
        }
    }
}

TEST_F(TemplateSearchTest, ATraceThatHoldsTheTemplateHasNoErrorThere) {
    const Samples t = Bump(20);
    Samples x(200);
    std::ranges::copy(t, x.begin() + 90);
    const SearchFound found = Find(x, SearchOf(t, TemplateType::fixed, 5.0f));
    ASSERT_EQ(found.matches.size(), 1u);
    EXPECT_EQ(found.matches[0].on, 90);
    EXPECT_EQ(found.matches[0].off, 110);
    EXPECT_EQ(found.matches[0].value, 0.0f);
    // Turned upside down, it fits with a negative scale, which is no match.
    for (float& v : x) v = -v;
    for (const TemplateMatch& match : Find(x, SearchOf(t, TemplateType::scaled, 1.0f)).matches)
        EXPECT_NE(match.on, 90);
}

// A match whose run of steps is open where the data end is none; the one that is open at the first step is.
TEST_F(TemplateSearchTest, OnlyTheEndOfARunMakesAnEvent) {
    const Samples t = Bump(20);
    Samples atEnd(100), atStart(100);
    std::ranges::copy(t, atEnd.end() - 20);
    std::ranges::copy(t, atStart.begin());
    for (const TemplateType type : {TemplateType::fixed, TemplateType::adaptive, TemplateType::scaled}) {
        const float threshold = type == TemplateType::scaled ? 100.0f : 5.0f;
        const SearchFound open = Find(atEnd, SearchOf(t, type, threshold));
        EXPECT_TRUE(open.matches.empty());
        ASSERT_EQ(open.open, 1);
        EXPECT_EQ(open.firstOpen.bin, 80);
        // A region exactly as long as the template.
        const SearchFound only = Find(Samples(t), SearchOf(t, type, threshold));
        EXPECT_TRUE(only.matches.empty());
        EXPECT_EQ(only.open, 1);
    }
    const SearchFound found = Find(atStart, SearchOf(t, TemplateType::fixed, 5.0f));
    ASSERT_EQ(found.matches.size(), 1u);
    EXPECT_EQ(found.matches[0].on, 0);
    EXPECT_EQ(found.open, 0);
}

TEST_F(TemplateSearchTest, NothingSpansAGapAnEpisodesEndOrASampleThatIsNoNumber) {
    const Samples t = Bump(20);
    const auto nan = std::numeric_limits<float>::quiet_NaN();
    Samples x(300);
    for (const size_t at : {50u, 150u, 250u})
        std::ranges::copy(t, x.begin() + static_cast<std::ptrdiff_t>(at));
    const TemplateSearch search = SearchOf(t, TemplateType::fixed, 5.0f);
    const auto onsets = [&](CDataDoc& doc) {
        std::vector<int32_t> found;
        for (const TemplateMatch& match :
             Find(doc, search, {0, static_cast<int32_t>(doc.GetLength())}).matches)
            found.push_back(match.on);
        return found;
    };
    EXPECT_EQ(onsets(*MemoryDoc::Make(session, {x})), (std::vector<int32_t>{50, 150, 250}));
    // A gap of 30 samples in the middle of the second one.
    EXPECT_EQ(onsets(*MemoryDoc::MakeWithRuns(session, {x}, {{160, 30, 140}})),
              (std::vector<int32_t>{50, 280}));
    const auto episodic = MemoryDoc::Make(session, {x});
    episodic->episodic = true;
    episodic->AddEvent(0, CEventKM{60, 61});
    EXPECT_EQ(onsets(*episodic), (std::vector<int32_t>{150, 250}));
    x[160] = nan;
    x[262] = std::numeric_limits<float>::infinity();
    EXPECT_EQ(onsets(*MemoryDoc::Make(session, {x})), (std::vector<int32_t>{50}));
}

TEST_F(TemplateSearchTest, TheBetterOfTwoThatOverlapStaysAndTheEarlierOfEquals) {
    MatchList errors(Better::smaller, 4, 10);
    using Came = MatchList::Came;
    EXPECT_EQ(errors.Add({400, 9.0f}), Came::added);
    EXPECT_EQ(errors.Add({420, 9.0f}), Came::dropped);
    EXPECT_EQ(errors.Add({437, 8.0f}), Came::replacedLast);  // 437 / 4 is nearest to 109
    EXPECT_EQ(errors.Add({476, 20.0f}), Came::added);        // 119 is where that one ends
    ASSERT_EQ(errors.Matches().size(), 2u);
    EXPECT_EQ(errors.Matches()[0].on, 109);
    EXPECT_EQ(errors.Matches()[0].off, 119);
    EXPECT_EQ(errors.Matches()[1].on, 119);
    MatchList criteria(Better::larger, 1, 10);
    criteria.Add({0, 5.0f});
    EXPECT_EQ(criteria.Add({9, 5.5f}), Came::replacedLast);
    EXPECT_EQ(criteria.Matches()[0].on, 9);
}

// --- raised rates ---

TEST_F(TemplateSearchTest, ARaisedTraceHasNoBlockEdges) {
    const auto wave = [](double p) { return std::sin(0.31 * p) + 0.5 * std::sin(0.057 * p + 1.0); };
    const auto doc = MemoryDoc::Generate(
        session, 1, 70000, [&](int, int64_t i) { return static_cast<float>(wave(static_cast<double>(i))); });
    for (const int multiplier : {2, 8, 64}) {
        SCOPED_TRACE(multiplier);
        RaisedTrace raised(*doc, 0, UnbrokenStretches(*doc, 0), multiplier, 10);
        Samples values(static_cast<size_t>(4000) * static_cast<size_t>(multiplier));
        // A stretch over block edges at every multiplier.
        ASSERT_TRUE(raised.Read(int64_t{31000} * multiplier, values));
        double greatest = 0.0;
        for (size_t i = 0; i < values.size(); ++i)
            greatest =
                std::max(greatest, std::abs(values[i] - wave(31000.0 + static_cast<double>(i) / multiplier)));
        EXPECT_LT(greatest, 0.004);
        // Whoever reads from elsewhere gets the same bits.
        Samples part(1000);
        for (const int64_t first : {31001, 32767, 32768, 33333}) {
            RaisedTrace fresh(*doc, 0, UnbrokenStretches(*doc, 0), multiplier, 10);
            ASSERT_TRUE(fresh.Read(first * multiplier + 1, part));
            const auto from = static_cast<size_t>((first - 31000) * multiplier + 1);
            EXPECT_TRUE(std::ranges::equal(part, std::span(values).subspan(from, part.size()))) << first;
        }
    }
}

// A region that begins one sample later finds the same, across the edge of a block.
TEST_F(TemplateSearchTest, MatchesDoNotDependOnWhereTheRegionBegins) {
    const Samples bump = Bump(24);
    const Samples x = NoisyBumps(70000, bump, 11, 0.1f);
    const auto doc = MemoryDoc::Make(session, {x});
    for (const TemplateType type : {TemplateType::fixed, TemplateType::scaled}) {
        TemplateSearch search{
            InterpolateExtended(bump, 4), 4, 24, type, type == TemplateType::fixed ? 30.0f : 4.0f, 8};
        const auto all = Find(*doc, search, {0, 70000}).matches;
        ASSERT_GT(all.size(), 100u);
        for (const int32_t first : {8191, 8192, 8193, 32768}) {
            const auto part = Find(*doc, search, {first, 70000}).matches;
            // The first ones may be cut by the beginning, and what they overlap.
            const auto at =
                std::ranges::find_if(all, [&](const TemplateMatch& m) { return m.on > first + 200; });
            const auto same =
                std::ranges::find_if(part, [&](const TemplateMatch& m) { return m.on > first + 200; });
            ASSERT_EQ(all.end() - at, part.end() - same);
            for (auto a = at, p = same; a != all.end(); ++a, ++p) {
                ASSERT_EQ(a->bin, p->bin);
                ASSERT_NEAR(a->value, p->value, 1e-6 * std::abs(a->value));
            }
        }
    }
}

// Between samples the template is found where it is.
TEST_F(TemplateSearchTest, ARaisedSearchFindsWhatLiesBetweenSamples) {
    const auto shape = [](double p) { return std::exp(-p * p / 18.0); };
    Samples x(400);
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = static_cast<float>(shape(static_cast<double>(i) - 100.0) +
                                  shape(static_cast<double>(i) - 300.25));
    const auto doc = MemoryDoc::Make(session, {x});
    RaisedTrace raised(*doc, 0, UnbrokenStretches(*doc, 0), 4, 10);
    Samples t(40 * 4);
    ASSERT_TRUE(raised.Read(80 * 4, t));
    const auto found = Find(*doc, {t, 4, 40, TemplateType::fixed, 5.0f, 8}, {0, 400}).matches;
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].bin, 80 * 4);
    EXPECT_EQ(found[1].bin, 280 * 4 + 1);
    EXPECT_EQ(found[1].on, 280);
}

// --- measures that were kept ---

TEST_F(TemplateSearchTest, KeptMeasuresFindAtAnyThresholdWhatANewSearchFinds) {
    const Samples bump = Bump(30);
    const Samples x = NoisyBumps(60000, bump, 2, 0.2f);
    const auto doc = MemoryDoc::MakeWithRuns(session, {x}, {{25000, 100, 35000}});
    for (const TemplateType type : {TemplateType::fixed, TemplateType::scaled}) {
        KeptMeasures kept;
        SearchWatch watch;
        watch.measures = [&](const MeasuredSteps& steps) { kept.Take(steps); };
        Find(*doc, SearchOf(bump, type, 4.0f), {0, 60100}, watch);
        for (const float threshold : {2.0f, 3.0f, 5.0f, 30.0f, 50.0f})
            for (const SampleSpan region :
                 {SampleSpan{0, 60100}, SampleSpan{20000, 26000}, SampleSpan{100, 120}}) {
                const TemplateSearch search = SearchOf(bump, type, threshold);
                const SearchFound first = Find(*doc, search, region), second = kept.Find(region, search);
                EXPECT_EQ(first.open, second.open);
                EXPECT_EQ(first.firstOpen.bin, second.firstOpen.bin);
                const auto &anew = first.matches, &again = second.matches;
                ASSERT_EQ(anew.size(), again.size());
                for (size_t i = 0; i < anew.size(); ++i) EXPECT_EQ(anew[i].on, again[i].on);
            }
    }
}

TEST(LocalBest, TellsTheTopOfEachHillOnce) {
    LocalBest best(Better::larger);
    const float values[] = {5, 1, 3, 3, 2, 2, 4, 1, 0, 6};
    Samples tops;
    for (size_t i = 0; i < std::size(values); ++i)
        if (const auto top = best.Take(values[i], i == 0)) tops.push_back(*top);
    EXPECT_EQ(tops, (Samples{3, 4}));
}

}  // namespace
}  // namespace kymora::test
