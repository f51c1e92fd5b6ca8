#include "report/html_style.h"

namespace vellum::reporting {

namespace {

constexpr markup style = R"(
:root{color-scheme:light dark;--ground:#f4f5f7;--paper:#fff;--ink:#1c2128;--dim:#57606a;--line:#d5dae1;--link:#0a58a6;
--good:#14703c;--good-paper:#e6f4ea;--warn:#7a5200;--warn-paper:#fdf3d6;--bad:#b42318;--bad-paper:#fdecea;
--none:#57606a;--none-paper:#eceff3;--code:#eef1f4}
@media screen and (prefers-color-scheme:dark){:root{--ground:#0e1217;--paper:#161b22;--ink:#e4e9ef;--dim:#9aa6b2;
--line:#2f3742;--link:#7cb8f5;--good:#63d08e;--good-paper:#10291b;--warn:#eec15a;--warn-paper:#2d2410;--bad:#ff9c92;
--bad-paper:#361614;--none:#9aa6b2;--none-paper:#20262e;--code:#20262e}}
*{box-sizing:border-box}
html{-webkit-text-size-adjust:100%;scroll-padding-top:1rem}
body{margin:0;background:var(--ground);color:var(--ink);font:16px/1.55 system-ui,-apple-system,"Segoe UI",Roboto,
"Noto Sans","DejaVu Sans",sans-serif;overflow-wrap:anywhere}
h1,h2,h3,h4{line-height:1.25;margin:0;font-weight:650}
h1{font-size:1.9rem;letter-spacing:-.01em}h2{font-size:1.2rem}h3{font-size:1rem}h4{font-size:.95rem}
p,ul,ol,dl,pre,table{margin:.6rem 0 0}ul,ol{padding:0;list-style:none}dd{margin:0}
a{color:var(--link);text-underline-offset:.15em}
a:focus-visible,summary:focus-visible{outline:3px solid var(--link);outline-offset:2px;border-radius:3px}
code,pre{font-family:ui-monospace,"Cascadia Mono",Menlo,Consolas,"DejaVu Sans Mono",monospace;font-size:.86em}
code{background:var(--code);padding:.05em .3em;border-radius:3px}
code>span{display:inline-block;max-width:100%}
td code,dd>code,.value code{background:none;padding:0}
pre{background:var(--code);padding:.6rem .8rem;border-radius:6px;white-space:pre-wrap;line-height:1.45}
.unseen{position:absolute;width:1px;height:1px;overflow:hidden;clip-path:inset(50%);white-space:nowrap}
.signs{position:absolute}
.skip{position:absolute;left:-99rem;background:var(--paper);padding:.6rem 1rem;z-index:2}.skip:focus{left:1rem;top:1rem}
.sub,.when,.gap,.small,.more,.issued,.purpose,.legend{color:var(--dim);font-size:.86rem}.sub{display:block}
time{display:inline-block}.n{white-space:nowrap;font-variant-numeric:tabular-nums}
.good{--tone:var(--good);--tint:var(--good-paper)}.warn{--tone:var(--warn);--tint:var(--warn-paper)}
.bad{--tone:var(--bad);--tint:var(--bad-paper)}.none{--tone:var(--none);--tint:var(--none-paper)}
.now{--tone:var(--link);--tint:var(--none-paper)}
.sign{width:1em;height:1em;flex:none;color:var(--tone);fill:currentColor}
.cut{fill:none;stroke:var(--paper);stroke-width:2;stroke-linecap:round}
.ring{fill:none;stroke:currentColor;stroke-width:1.6}.bar{stroke:currentColor;stroke-width:1.8;stroke-linecap:round}
.badge{display:inline-flex;align-items:center;gap:.35em;color:var(--tone);font-size:.86rem;font-weight:600}
.tag{border:1px solid var(--line);border-radius:3px;padding:0 .35em;font-size:.8rem;color:var(--dim)}
.frame{max-width:82rem;margin:0 auto;padding:1rem}
.top{display:flex;flex-wrap:wrap;gap:.1rem 1.2rem;align-items:baseline;color:var(--dim);font-size:.9rem}
.top p{margin:0}.top .product{color:var(--ink);font-weight:650;font-size:1.05rem}
nav ul{display:flex;flex-wrap:wrap;gap:.1rem .25rem;margin:.6rem -.5rem 0}
nav a{display:block;padding:.25rem .5rem;border-radius:5px;text-decoration:none;font-size:.9rem}
nav a:hover{background:var(--none-paper);text-decoration:underline}
main>section{background:var(--paper);border:1px solid var(--line);border-radius:10px;padding:1.1rem 1.1rem 1.2rem;
margin-top:1rem}
.verdict{border-top:5px solid var(--tone)!important}
.verdict h1{display:flex;align-items:center;gap:.5em;color:var(--tone)}
.lead{font-size:1.12rem;font-weight:550}
.evidence{color:var(--dim);border-left:3px solid var(--line);padding-left:.7rem;
font-family:ui-monospace,"Cascadia Mono",Menlo,Consolas,"DejaVu Sans Mono",monospace;font-size:.9rem}
.todo{background:var(--tint);border-radius:8px;padding:.8rem 1rem;margin-top:1rem}.todo h2{font-size:1rem}
.todo p{margin-top:.25rem}.todo code{background:var(--paper)}
.facts>div,.words>div{display:grid;grid-template-columns:8.5rem 1fr;gap:0 1rem;padding:.15rem 0}
.words{font-size:.95rem;border-left:3px solid var(--line);padding-left:.8rem}
dt{color:var(--dim)}
.fields{display:flex;flex-wrap:wrap;gap:.15rem 1.4rem;font-size:.9rem}.fields>div{display:flex;gap:.5em}
.stage-bars{display:block;width:100%;height:28px;margin-top:1.1rem}
.stage-bars rect,.disk rect,.validity rect{fill:var(--tone);rx:2px}
.stage-bars .none{fill:none;stroke:var(--none);stroke-width:1;stroke-dasharray:3 2}
.counts{color:var(--dim);font-size:.9rem}
summary{cursor:pointer}
.stage{border-top:1px solid var(--line)}.stage:first-of-type{border-top:0;margin-top:.4rem}
.stage>summary{display:flex;align-items:center;gap:.2rem .8rem;padding:.45rem .2rem;list-style:none}
.stage>summary::-webkit-details-marker{display:none}
.stage>summary::before{content:"";border:solid var(--dim);border-width:0 2px 2px 0;width:.45rem;height:.45rem;flex:none;
transform:rotate(-45deg);margin-left:.2rem}
.stage[open]>summary::before{transform:rotate(45deg)}
.stage>summary h3{flex:1;font-weight:500;font-size:.97rem}.stage.bad>summary h3,.stage.warn>summary h3{font-weight:650}
.stage>summary .badge{width:5.2rem}
.stage>summary:hover{background:var(--none-paper)}
.note{color:var(--dim);font-size:.86rem}
.inside{padding:.1rem .2rem 1rem 1.55rem;scroll-margin-top:4rem}.finding{margin-top:1.1rem}
.inside:target{box-shadow:-4px 0 0 var(--link)}
.id{font-weight:400;color:var(--dim)}
.tiles{display:grid;grid-template-columns:repeat(8,1fr);gap:.5rem;margin-top:.9rem}
.tile{border:1px solid var(--line);border-radius:7px;padding:.4rem .55rem;min-width:0;line-height:1.3}
.tile.bad{border-color:var(--bad);background:var(--bad-paper)}.tile.none .head b{color:var(--dim);font-weight:500}
.head{display:flex;justify-content:space-between;align-items:center;gap:.2rem}
.tile .badge{font-size:.76rem}.tile .purpose{display:block;font-size:.76rem;min-height:2.6em}
.tile .sub{font-size:.76rem}
.tile.bad .purpose{color:var(--ink)}
.sources{margin:0;font-size:.76rem}
.sources li::before{content:"";display:inline-block;width:.5rem;height:.5rem;margin-right:.4em;border-radius:50%;
background:var(--tone);border:1px solid var(--tone)}
.sources .other{font-weight:650;color:var(--bad)}.sources .other::before{border-radius:0;transform:rotate(45deg)}
.sources .absent{color:var(--dim)}.sources .absent::before{background:none;border-color:var(--dim)}
.tile.bad .sources .absent{color:var(--ink)}
.tile.bad .sources .same::before{background:var(--none);border-color:var(--none)}
table{border-collapse:collapse;width:100%;font-size:.92rem}
caption{text-align:left;color:var(--dim);font-size:.86rem;padding:.2rem 0 .3rem}
th,td{text-align:left;vertical-align:top;padding:.35rem .6rem .35rem 0;border-top:1px solid var(--line);font-weight:400}
thead th{color:var(--dim);font-size:.84rem;border-top:0}tbody th{font-weight:600}tbody th .sub{font-weight:400}
thead th,.n,.events th,.events td:last-child,.history th,.differences th{overflow-wrap:normal}
tr.bad td:first-child,tr.bad th:first-child{box-shadow:-4px 0 0 var(--bad)}
td .badge,th .badge{display:flex;font-size:.8rem}
.more-facts{margin-top:.9rem}.more-facts>summary{color:var(--link);padding:.2rem 0}
.pcr-values th:first-child{min-width:5.5rem}.pcr-values .sub{display:inline;margin-left:.5em}.value span{color:var(--dim);font-size:.86rem}
.inputs th:first-child{min-width:7rem}
.lanes>li{display:grid;grid-template-columns:12.5rem 1fr;gap:0 1rem;align-items:start;padding:.2rem 0}
.lane-name{font-size:.9rem;padding-top:.15rem}.lane-name span{color:var(--dim)}
.lane-body{min-width:0}.disk-name{padding-top:.9rem}
.lane svg{display:block;width:100%;height:28px;overflow:visible}
.track{stroke:var(--line);stroke-width:2}.lane.bad .track{stroke:var(--bad);stroke-dasharray:5 4}
.mark{fill:var(--none);stroke:var(--paper);stroke-width:1.5}
.mark.told{fill:var(--paper);stroke:var(--none)}
.mark.suspect{fill:var(--bad)}.mark.wrong{fill:var(--paper);stroke:var(--bad);stroke-width:2.5}
.labels{margin:0 0 .4rem;font-size:.88rem}.labels li{display:grid;grid-template-columns:2.4em 1fr}
.labels b{color:var(--bad)}
.legend{display:flex;flex-wrap:wrap;gap:.1rem 1.3rem;padding-left:13.5rem}.legend span{display:inline-flex;align-items:center;
gap:.4em}
.key{width:14px;height:14px;overflow:visible}
.disk{display:block;width:100%;height:48px;overflow:visible}.disk .ground,.validity .ground{fill:var(--none-paper)}
.disk rect.good,.disk rect.none,.disk rect.bad{fill:var(--tint);stroke:var(--tone);stroke-width:1.5}
.disk rect.bad{stroke-dasharray:5 3}
.disk text{text-anchor:middle;font-size:13px;font-weight:600;fill:var(--ink)}
.was{display:block;color:var(--bad);font-size:.86rem;margin-top:.2rem}.was .sub{color:inherit}
.before{color:var(--dim);text-decoration:line-through;text-decoration-color:var(--bad)}.changes{margin:.2rem 0;font-size:.88rem}
.changes li::before{content:"\2022\00a0"}
h3+.plain,h3+table{margin-top:.2rem}section>h3{margin-top:1.2rem}
.range{font-variant-numeric:tabular-nums}
.time-line{margin-top:.8rem}
.time-line li{display:grid;grid-template-columns:1rem 1fr;gap:.8rem;position:relative;padding:.3rem 0}
.time-line li::before{content:"";position:absolute;left:calc(.5rem - 1px);top:0;bottom:0;border-left:2px solid var(--line)}
.time-line li:first-child::before{top:1rem}.time-line li:last-child::before{bottom:auto;height:1rem}
.time-line .sign{margin-top:.28rem;position:relative;background:var(--paper);border-radius:50%}
.time-line .gap{display:block;font-style:italic;padding:.15rem 0 .15rem 1.8rem}
.time-line .gap::before{border-left-style:dotted}.time-line .now b{color:var(--link)}
.chain{margin-top:.8rem}.certificate{border:1px solid var(--line);border-radius:7px;padding:.7rem .9rem;margin-top:.6rem}
.certificate .badge{margin-top:.15rem}
.validity{display:block;width:100%;height:28px;margin-top:.3rem;overflow:visible}
.today{stroke:var(--link);stroke-width:2.5}.issued{margin-top:.2rem}.issued::before{content:"\2191\00a0"}
.caution{border-top:1px solid var(--line);padding:.7rem 0}.caution h3{display:flex;align-items:center;gap:.5em}
.caution .sign{--tone:var(--warn)}.cautions li:first-child{border-top:0}
.caution p{margin-top:.2rem}
.plain li{margin-top:.3rem}
.fleet-bar{display:block;width:100%;height:34px;margin-top:1.1rem}.fleet-bar rect,.share rect{fill:var(--tone);rx:2px}
.share{display:block;width:100%;height:8px;margin-top:.35rem}.share .ground{fill:var(--none-paper)}
.groups>li{border-top:1px solid var(--line);padding:.8rem 0}.groups>li:first-child{border-top:0}
.groups h3{display:flex;flex-wrap:wrap;gap:.1rem .8rem;align-items:baseline}.groups p{margin-top:.25rem}
.groups h3 b{font-variant-numeric:tabular-nums}.fleet td,.fleet th{overflow-wrap:anywhere}.fleet th{min-width:4.5rem}.fleet .badge{white-space:nowrap;overflow-wrap:normal}.times td{width:10rem}.times td time{white-space:normal}
.wide{display:grid;grid-template-columns:1fr 1fr;gap:0 2rem;font-size:.95rem}
.wide>div{grid-template-columns:8rem 1fr}.wide .long{grid-column:1/-1}
footer{color:var(--dim);font-size:.86rem;margin-top:1rem}
@media (min-width:70rem){.frame{display:grid;grid-template-columns:11rem minmax(0,1fr);gap:0 1.5rem;padding:1.6rem}
.top,footer{grid-column:2}nav{position:sticky;top:1rem;align-self:start;grid-row:1/span 3;grid-column:1}
nav ul{display:block;margin:0}main>section{padding:1.4rem 1.6rem 1.6rem}}
@media (max-width:44rem){.frame{padding:.7rem}h1{font-size:1.5rem}.tiles{grid-template-columns:repeat(4,1fr);gap:.35rem}
.tile{padding:.3rem .35rem}.tile .badge span{display:none}
.lanes>li{grid-template-columns:1fr}.legend{padding-left:0}.facts>div,.words>div{grid-template-columns:1fr}
.wide{grid-template-columns:1fr}.disk-name{padding-top:.15rem}.words{padding-left:.6rem}.inside{padding-left:.2rem}
.stage>summary{flex-wrap:wrap}.stage>summary h3{flex:1 1 60%}
main>section{padding:.9rem .8rem 1rem}th,td{padding-right:.45rem}pre{font-size:.78em;padding:.5rem}}
@media print{body{background:#fff;font-size:10.5pt}.frame{display:block;padding:0;max-width:none}nav,.skip{display:none}
main>section{border:0;padding:.4rem 0;break-inside:auto}details::details-content{content-visibility:visible!important;
display:block!important;block-size:auto!important;opacity:1!important}
.tile,.certificate,.caution,tr,.lanes>li,.todo{break-inside:avoid}h2,h3,summary{break-after:avoid}
*{print-color-adjust:exact;-webkit-print-color-adjust:exact}}
@media (forced-colors:active){.sign,.mark,.stage-bars rect,.disk rect{forced-color-adjust:none}}
)";

}  // namespace

markup page_style() {
    return style;
}

}  // namespace vellum::reporting
