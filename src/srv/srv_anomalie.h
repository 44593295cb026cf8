// SrvAnomalie: reports of internal anomalies. Each report is appended, with the date, the time
// and the procedure, to ANOMALIES.LOG in the data folder (one line "AAAA-MM-JJ HH:MM:SS
// procedure : message", UTF-8, LF), and handed to the host to show. One object per thread.
#ifndef VESK_SRV_SRV_ANOMALIE_H_
#define VESK_SRV_SRV_ANOMALIE_H_

#include <string_view>

namespace vesk {

class SrvAnomalie {
 public:
  virtual ~SrvAnomalie() = default;

  // Reports message (beginning "@ ") met by the procedure named. The report is shown even when
  // the log cannot be written; that failure is then thrown as ErreurService.
  virtual void Signale(std::string_view message, std::string_view procedure) = 0;
};

}  // namespace vesk

#endif  // VESK_SRV_SRV_ANOMALIE_H_
