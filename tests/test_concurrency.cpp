// Many threads race on the first use of the table converters, on fresh
// instances and through the registry; every result must equal the one a
// single thread gets. Meant to be run under the thread sanitizer as well.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <vynulib/converters/VynCharSetConverterMBCS.h>
#include <vynulib/converters/VynCharSetConverterSBCS.h>
#include <vynulib/internal/VynTables.h>

#include "converter_data.h"

namespace {

int const kThreads = 16;
unsigned long const kAll = static_cast<unsigned long>(-1);

// What one thread sees of a converter.
struct Result {
    std::vector<unsigned short> units;
    std::string bytes;
    unsigned long numUnits = 0, numBytes = 0;
    bool illDecode = false, illEncode = false;
    bool operator==(Result const& o) const {
        return units == o.units && bytes == o.bytes && numUnits == o.numUnits &&
               numBytes == o.numBytes && illDecode == o.illDecode && illEncode == o.illEncode;
    }
};

// Source text ending in four zero bytes, so that it is terminated for
// converters of any unit width.
struct Source {
    alignas(4) unsigned char bytes[520];
    std::vector<unsigned short> units;
    Source() {
        unsigned char* p = bytes;
        for (int b = 0x20; b < 0x100; ++b) *p++ = static_cast<unsigned char>(b);
        unsigned char const cjk[] = {0x82, 0xA0, 0xA4, 0x40, 0x81, 0x41, 0xB0, 0xA1, 0x87, 0xA0};
        for (int r = 0; r < 20; ++r)
            for (unsigned char c : cjk) *p++ = c;
        while ((p - bytes) % 4) *p++ = 'x';
        for (int i = 0; i < 4; ++i) *p++ = 0;
        for (unsigned u = 0x20; u < 0x250; ++u) units.push_back(static_cast<unsigned short>(u));
        for (unsigned short u : {0x20AC, 0x3042, 0x4E00, 0x4E04, 0xAC00, 0xFF61, 0xD840, 0xDC0B,
                                 0x0E01, 0x0410, 0x05D0, 0x0627, 0xD800, 0x007A})
            units.push_back(u);
        units.push_back(0);
    }
};

Source const& source() {
    static Source s;
    return s;
}

Result run(VynCharSetConverter& c) {
    Source const& s = source();
    Result r;
    r.units.assign(1024, 0);
    r.units.resize(c.toUTF16(r.units.data(), s.bytes, 1000, ILLCHAR_REPLACE, &r.illDecode, -1));
    std::vector<char> out(4096);
    r.bytes.assign(out.data(),
                   c.fromUTF16(out.data(), s.units.data(), 4000, ILLCHAR_ESCAPE, &r.illEncode));
    r.numUnits = c.getNumUnits(s.bytes, kAll);
    r.numBytes = c.getNumBytes(s.units.data(), kAll);
    return r;
}

// A fresh instance of every served converter that builds tables.
std::vector<std::unique_ptr<VynCharSetConverter>> freshConverters() {
    std::vector<std::unique_ptr<VynCharSetConverter>> v;
    for (VynCharSet cs : vyn::catalogue::kServed)
        if (*vyn::catalogue::find(cs)->tables) v.push_back(freshConverter(cs));
    return v;
}

std::vector<VynCharSet> servedSets() {
    return {std::begin(vyn::catalogue::kServed), std::end(vyn::catalogue::kServed)};
}

// Runs body(thread index) on kThreads threads released at the same moment.
template <class F> void raceFromOneStart(F body) {
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            ready.fetch_add(1);
            while (ready.load() < kThreads) std::this_thread::yield();
            body(t);
        });
    for (auto& th : threads) th.join();
}

TEST(Concurrency, FirstUseOfFreshInstances) {
    for (int round = 0; round < 3; ++round) {
        auto shared = freshConverters();
        std::vector<std::vector<Result>> seen(kThreads);
        raceFromOneStart([&](int t) {
            // Start at different converters so that every load is contended
            // by some threads and some conversions run while others load.
            for (std::size_t i = 0; i < shared.size(); ++i)
                seen[t].push_back(run(*shared[(i + t) % shared.size()]));
        });
        auto reference = freshConverters();
        for (std::size_t i = 0; i < reference.size(); ++i) {
            Result want = run(*reference[i]);
            EXPECT_FALSE(want.units.empty());
            for (int t = 0; t < kThreads; ++t)
                ASSERT_TRUE(seen[t][(i + reference.size() - t) % reference.size()] == want)
                    << "set " << reference[i]->getCharSet() << " thread " << t;
        }
    }
}

TEST(Concurrency, FirstUseThroughTheRegistry) {
    std::vector<VynCharSet> const sets = servedSets();
    std::vector<std::vector<Result>> seen(kThreads);
    raceFromOneStart([&](int t) {
        for (std::size_t i = 0; i < sets.size(); ++i) {
            VynCharSet cs = sets[(i + t) % sets.size()];
            seen[t].push_back(run(*VynCharSetConverter::getConverter(cs)));
        }
    });
    for (std::size_t i = 0; i < sets.size(); ++i) {
        Result want = run(*VynCharSetConverter::getConverter(sets[i]));
        for (int t = 0; t < kThreads; ++t)
            ASSERT_TRUE(seen[t][(i + sets.size() - t) % sets.size()] == want)
                << "set " << sets[i] << " thread " << t;
    }
}

} // namespace
