// Program messages of one session: path, dispatch, answers, errors.
#include "ScpiInterpreter.h"

#include "ScpiErrors.h"
#include "ScpiTrace.h"

using namespace KxTamarind;

namespace Demo {

bool ScpiInterpreter::Execute(const std::string& line, std::string& response) {
    response.clear();
    bool answered = false;
    std::vector<std::string> path;
    for (const std::string& unit : SplitProgramMessage(line)) {
        int error = ExecuteUnit(unit, path, response, answered);
        if (error <= -100 && error > -200) {
            break;
        }
    }
    return answered;
}

void ScpiInterpreter::ReportError(int code, const std::string& info) {
    std::string entry = m_Status.PushError(code, info);
    SCPI_TRACE(ErrorTraceEnabled(), "error " + std::to_string(code) +
                                        (entry.empty() ? " (queue full)" : " queued: " + entry));
}

int ScpiInterpreter::ExecuteUnit(const std::string& text, std::vector<std::string>& path,
                                 std::string& response, bool& answered) {
    ScpiUnit unit;
    int error = ParseUnit(text, unit);
    const ScpiCommand* command = nullptr;
    std::vector<std::string> nodes;
    if (error == 0 && !unit.empty) {
        nodes = unit.common || unit.absolute ? unit.nodes : path;
        if (!unit.common && !unit.absolute) {
            nodes.insert(nodes.end(), unit.nodes.begin(), unit.nodes.end());
        }
        command = FindScpiCommand(nodes, unit.query);
        if (command == nullptr) {
            error = kScpiUndefinedHeader;
        } else if (unit.params.size() < command->minParams) {
            error = kScpiMissingParameter;
        } else if (unit.params.size() > command->maxParams) {
            error = kScpiParameterNotAllowed;
        }
    }
    SCPI_TRACE(ParserTraceEnabled(),
               "unit '" + Printable(text) + "': " +
                   (error != 0   ? "error " + std::to_string(error)
                    : unit.empty ? std::string("empty")
                                 : std::string(command->name) + " with " +
                                       std::to_string(unit.params.size()) + " parameter(s)"));
    if (error != 0) {
        ReportError(error);
        return error;
    }
    if (unit.empty) {
        return 0;
    }
    if (!unit.common && nodes.size() > 1) {
        path.assign(nodes.begin(), nodes.end() - 1);
    }
    ScpiCall call{m_Instrument, m_Status, unit.params, std::string(), std::string()};
    error = command->handler(call);
    if (error != 0) {
        ReportError(error, call.info);
        return error;
    }
    if (unit.query) {
        response += answered ? ";" + call.answer : call.answer;
        answered = true;
    }
    return 0;
}

} // namespace Demo
