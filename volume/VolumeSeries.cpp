#include "volume/VolumeSeries.h"

#include <map>

namespace radvex::volume {

std::vector<SeriesFiles> seriesOf(const std::vector<media::MediumPatient>& patients) {
    std::vector<SeriesFiles> all;
    for (std::size_t patient = 0; patient < patients.size(); ++patient) {
        const auto& studies = patients[patient].studies;
        for (std::size_t study = 0; study < studies.size(); ++study) {
            std::map<std::string, std::size_t> repetitions;
            for (const media::MediumSeries& series : studies[study].series) {
                all.push_back({patients[patient].key, studies[study].key, series.key, patient, study,
                               repetitions[series.key]++, series.files});
            }
        }
    }
    return all;
}

} // namespace radvex::volume
