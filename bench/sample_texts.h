#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

/// Texts in several scripts, as UTF-8: a few words of mail each.
namespace bench {

inline constexpr std::string_view kFrench =
    "Bonjour à tous, veuillez trouver ci-joint le compte rendu de la réunion d'hier. Les délais "
    "sont "
    "très serrés : il faudra que l'équipe décide au plus tôt où elle veut être à la fin de l'été. "
    "Merci d'avance pour votre aide, et à bientôt. Grüße aus Köln, schöne Wünsche für das nächste "
    "Jahr! ";
inline constexpr std::string_view kRussian =
    "Добрый день, коллеги! Прошу посмотреть отчёт за прошлый месяц и прислать замечания до "
    "пятницы. "
    "Встреча начнётся в 10:30, адрес прежний; ссылка будет в письме. С уважением, отдел продаж. ";
inline constexpr std::string_view kJapanese =
    "お世話になっております。|先日の会議の|資料を|お送りいたします。|ご確認のほど、|よろしくお願い|"
    "いたします。|なお、|次回の打ち合わせは|10月12日(金)|14:00から、|東京本社で|行う予定です。|"
    "カタカナの|データとメールも|添付しました。|Subject: Re: |見積書|";
inline constexpr std::string_view kChinese =
    "您好，|附件是|上次会议的资料，|请查收。|下一次会议|定在|10月12日(星期五)|14:00|"
    "在北京总部举行。|"
    "如果有什么问题，|请随时与我们联系。|谢谢您的支持！|Re: |报价单|";
inline constexpr std::string_view kTraditional =
    "您好，|附件是|上次會議的資料，|請查收。|下一次會議|定在|10月12日(星期五)|14:00|"
    "在台北總部舉行。|"
    "如果有什麼問題，|請隨時與我們聯絡。|謝謝您的支持！|Re: |報價單|";
inline constexpr std::string_view kKorean =
    "안녕하세요. 지난 회의 자료를 보내 드립니다. 확인 부탁드립니다. 다음 회의는 10월 12일 (금) "
    "14:00에 "
    "서울 본사에서 진행할 예정입니다. 질문이 있으시면 언제든지 연락해 주세요. 감사합니다. Re: "
    "견적서 ";
inline constexpr std::string_view kEnglish =
    "Good morning everybody, please find attached the minutes of yesterday's meeting. The next one "
    "is on Friday at two. Thank you for your help, and see you soon. ";
inline constexpr std::string_view kEmoji =
    "😀🎉|👍|🙏🏽 |ok |🚀🚀|❤️|😂😂😂|🥳 |👩‍💻|";

/// The words of the sample in random order, broken into lines. Words end in a blank, or in a "|"
/// that is left out for scripts that have none between words.
inline std::string makeText(std::string_view sample, std::size_t size) {
    const bool marked = sample.find('|') != std::string_view::npos;
    std::vector<std::string_view> words;
    while (!sample.empty()) {
        const std::size_t end = sample.find(marked ? '|' : ' ');
        words.push_back(sample.substr(0, marked ? end : end + 1));
        sample.remove_prefix(end + 1);
    }
    std::mt19937 random(1);
    std::string text;
    std::size_t line = 0;
    while (text.size() < size) {
        const std::string_view word = words[random() % words.size()];
        text += word;
        line += word.size();
        if (line > 72) {
            text += "\r\n";
            line = 0;
        }
    }
    return text;
}

}  // namespace bench
