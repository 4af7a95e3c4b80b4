#include "media/Medium.h"
#include "media/MediumJson.h"
#include "media/MediumTree.h"
#include "python/worker/Jobs.h"

namespace radvex::python {

void sendTree(velmora::Host& host, const Request& request, const Messages& messages) {
    const media::Medium medium(request.path, request.jobs, messages.progress());
    const auto patients = media::listMedium(host, medium, request.selection, media::Records::all, request.jobs);
    messages.send({{"tree", media::describeTree(patients, medium.listing().leftOut)}});
}

} // namespace radvex::python
